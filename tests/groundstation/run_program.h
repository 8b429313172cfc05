// Runs the built groundstation program and keeps what it said.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace groundstation_test {

struct ProgramResult {
  int exit_code;  // -1: ended by a signal
  std::string out;
  std::string err;

  // The last line of `out` as JSON; a discarded value when it is none.
  [[nodiscard]] nlohmann::json json() const;
};

// Runs `before groundstation arguments` through the shell, `input` on standard input.
ProgramResult run_program(const std::string& arguments, const std::string& input = "",
                          const std::string& before = "");
// The same with the options for a camera on 127.0.0.1 and any port of its own.
ProgramResult run_with_camera(uint16_t port, const std::string& arguments,
                              const std::string& input = "", const std::string& before = "");

// The program ended well; the last line of `out` as JSON.
nlohmann::json success(const ProgramResult& result);
// The program ended with that status, and its last words hold these.
void expect_failure(const ProgramResult& result, int exit_code, const std::string& words);

// A fresh path in the test's folder for temporary files.
std::string temporary_path(const std::string& name);
std::string read_file(const std::string& path);

// Such a path for a file or folder, which is gone at the end.
struct OwnPath {
  std::string path;
  explicit OwnPath(const std::string& name) : path(temporary_path(name)) {}
  ~OwnPath();
  OwnPath(const OwnPath&) = delete;
  OwnPath& operator=(const OwnPath&) = delete;
};

}  // namespace groundstation_test
