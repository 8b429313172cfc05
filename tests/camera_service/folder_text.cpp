#include "camera_service/folder_text.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>

namespace camera_service_test {

void write_text(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

std::string names_in(const std::string& folder) {
  std::set<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error))
    names.insert(entry->path().filename().string());
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
  return text;
}

}  // namespace camera_service_test
