// The script behind ./run, as far as only a test tries it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT
using ::testing::HasSubstr;

constexpr const char* kPrograms = "/tmp/the programs";
constexpr const char* kOut = "/tmp/the output";

// The clock, because the shim that notes it has to be preloaded.
TEST(Tour, ShellCommandsTheCameraFromAPathWithASpace) {
  std::filesystem::remove(kPrograms);
  std::filesystem::create_directory_symlink(BIN_DIR, kPrograms);
  std::filesystem::create_directory(kOut);
  const std::string line = "clock 2020-01-01T00:00:00 --offset 8";
  // A sanitizer wants to be loaded before the shim; it can do without.
  const CommandResult run =
      run_command({"sh", "-c", "echo \"$0\" | \"$1\" shell \"$2\" \"$3\"", line,
                   SOURCE_DIR "/board/tour", kPrograms, kOut},
                  seconds(120),
                  {{"ASAN_OPTIONS", sanitizer_options()[0].second + ":verify_asan_link_order=0"}});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("The camera is up"));
  EXPECT_EQ(read_file("/tmp/clock.log"), "1577865600 0\n")
      << run.output << read_file(std::string(kOut) + "/maintask.log");
}

}  // namespace
