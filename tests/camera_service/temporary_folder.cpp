#include "camera_service/temporary_folder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <system_error>

namespace camera_service_test {

TemporaryFolder::TemporaryFolder() : path_("/tmp/camera_service_test.XXXXXX") {
  if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("mkdtemp");
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

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
