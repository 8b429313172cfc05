// Folders and files as texts.
#pragma once

#include <string>

#include "support/temporary_folder.h"

namespace camera_service_test {

using support::TemporaryFolder;

void write_text(const std::string& path, const std::string& text);
// The names in a folder, sorted; empty when there is no such folder.
[[nodiscard]] std::string names_in(const std::string& folder);

}  // namespace camera_service_test
