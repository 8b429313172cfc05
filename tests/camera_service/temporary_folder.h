// A folder of a test's own, gone with all its content at the end.
#pragma once

#include <string>

namespace camera_service_test {

class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string operator/(const char* name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

void write_text(const std::string& path, const std::string& text);
// The names in a folder, sorted; empty when there is no such folder.
[[nodiscard]] std::string names_in(const std::string& folder);

}  // namespace camera_service_test
