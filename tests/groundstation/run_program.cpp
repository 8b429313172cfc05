#include "groundstation/run_program.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace groundstation_test {

nlohmann::json ProgramResult::json() const {
  const size_t end = out.find_last_not_of('\n');
  if (end == std::string::npos) return nlohmann::json::parse("", nullptr, false);
  const size_t line = out.find_last_of('\n', end);
  return nlohmann::json::parse(out.substr(line == std::string::npos ? 0 : line + 1), nullptr,
                               false);
}

nlohmann::json success(const ProgramResult& result) {
  EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
  return result.json();
}

void expect_failure(const ProgramResult& result, int exit_code, const std::string& words) {
  EXPECT_EQ(result.exit_code, exit_code) << result.out << result.err;
  EXPECT_THAT(result.err, ::testing::HasSubstr(words));
}

std::string temporary_path(const std::string& name) {
  static int count = 0;
  const std::string path =
      fmt::format("{}/groundstation-{}-{}-{}", ::testing::TempDir(), ::getpid(), ++count, name);
  std::filesystem::remove(path);
  return path;
}

OwnPath::~OwnPath() { std::filesystem::remove_all(path); }

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

ProgramResult run_program(const std::string& arguments, const std::string& input,
                          const std::string& before) {
  const std::string in = temporary_path("in");
  const std::string out = temporary_path("out");
  const std::string err = temporary_path("err");
  std::ofstream(in) << input;
  const std::string command = fmt::format("{} \"{}/groundstation\" {} <{} >{} 2>{}", before,
                                          BIN_DIR, arguments, in, out, err);
  const int status = std::system(command.c_str());
  ProgramResult result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(out),
                       read_file(err)};
  for (const std::string& path : {in, out, err}) std::filesystem::remove(path);
  return result;
}

ProgramResult run_with_camera(uint16_t port, const std::string& arguments, const std::string& input,
                              const std::string& before) {
  return run_program(fmt::format("--camera 127.0.0.1:{} --bind 127.0.0.1:0 {}", port, arguments),
                     input, before);
}

}  // namespace groundstation_test
