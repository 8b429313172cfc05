// The ground station on the peer's side of the board, and what it says in JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/fixtures.h"

namespace ground_program {

using Json = nlohmann::json;

inline std::vector<std::string> ground_command(const std::vector<std::string>& words) {
  std::vector<std::string> command{"on-peer", BIN_DIR "/groundstation", "--json"};
  command.insert(command.end(), words.begin(), words.end());
  return command;
}

struct Told {
  int status;
  Json result;  // the last line
  std::string output;
};

inline Told told_by(int status, const std::string& output) {
  const size_t end = output.find_last_not_of('\n');
  const size_t line = output.find_last_of('\n', end);
  const std::string last = output.substr(line == std::string::npos ? 0 : line + 1);
  return {status, Json::parse(last, nullptr, false), output};
}

inline Told ground(const std::vector<std::string>& words) {
  const support::CommandResult run = support::run_command(
      ground_command(words), support::seconds(120), support::sanitizer_options());
  return told_by(run.status, run.output);
}

}  // namespace ground_program
