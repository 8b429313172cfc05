// The help of each command, in lines of 80 columns.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>

#include "groundstation/usage/command_table.h"

namespace groundstation {

inline constexpr size_t kHelpWidth = 80;

// The text in lines of at most `width`, each behind `indent` spaces. A line that begins with a space
// stands as it is; others that follow one another are one paragraph.
[[nodiscard]] std::string wrapped(std::string_view text, size_t indent, size_t width = kHelpWidth);

// The name in a column, and the text beside it or, when the name is too long, below.
[[nodiscard]] std::string column_entry(std::string_view name, std::string_view text);

// Everything about one command. `program` stands in front of its name; may be empty.
[[nodiscard]] std::string help_text(const CommandRow& row, std::string_view program);
// The commands and a summary each, for whoever gave none.
[[nodiscard]] std::string short_help(const CommandRow& root, std::string_view program);

// What --help shows. To be set before commands are added.
class HelpFormatter : public CLI::FormatterBase {
 public:
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;
};

}  // namespace groundstation
