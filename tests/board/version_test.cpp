// Every program that takes arguments tells the version, which has one place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/board_files.h"
#include "support/child_process.h"

namespace support {
namespace {

TEST(Version, EveryProgramTellsTheOneOfTheBuild) {
  const std::pair<const char*, std::string> programs[] = {
      {"board", SOURCE_DIR "/board/board"},
      {"camera_service", BIN_DIR "/camera_service"},
      {"fifo_control", BIN_DIR "/fifo_control"},
      {"groundstation", BIN_DIR "/groundstation"},
  };
  for (const auto& [name, path] : programs) {
    const CommandResult result = run_command({path, "--version"}, seconds(20));
    EXPECT_EQ(result.status, 0) << name;
    EXPECT_EQ(result.output, std::string(name) + " " HOUSE_VERSION "\n");
  }
}

TEST(Version, TheNewestEntryOfTheChangelogIsTheVersion) {
  const std::string log = read_file(SOURCE_DIR "/CHANGELOG.md");
  const size_t entry = log.find("\n## [");
  ASSERT_NE(entry, std::string::npos);
  EXPECT_THAT(log.substr(entry + 1), ::testing::StartsWith("## [" HOUSE_VERSION "] - "));
}

}  // namespace
}  // namespace support
