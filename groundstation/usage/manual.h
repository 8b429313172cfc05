// Manual pages, made of the table of commands.
#pragma once

#include <string>
#include <vector>

#include "groundstation/usage/command_table.h"

namespace groundstation {

struct ManualPage {
  std::string name;  // "groundstation-media"
  std::string text;  // in the language of man(7)
};

// One page for the program, and one for each of its commands with all that stands below it.
// `version` and `date` ("2026-11-21") stand at the edges of the pages.
[[nodiscard]] std::vector<ManualPage> manual_pages(const CommandRow& root,
                                                   const std::string& program,
                                                   const std::string& version,
                                                   const std::string& date);

}  // namespace groundstation
