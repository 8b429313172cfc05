// Wrong usage, told in a sentence.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>

#include "groundstation/terminal/output.h"

namespace groundstation {

struct UsageError {
  std::string command;  // path of the command that was understood; may be empty
  std::string sentence;
  // Nothing was given where a command has to stand.
  bool nothing_given = false;
};

// What is wrong with the words that `app` refused with `error`. A word that is not known is named,
// with the nearest one that is.
[[nodiscard]] UsageError usage_error(const CLI::App& app, const CLI::ParseError& error);

// Tells it as the failure of the command, with where to find the help. `program` stands in front of
// the command's name; may be empty.
ExitCode tell_usage_error(const Output& out, const UsageError& wrong, std::string_view program);

}  // namespace groundstation
