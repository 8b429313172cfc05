// A folder of a test's own below /tmp, gone with all its content at the end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace support {

class TemporaryFolder {
 public:
  TemporaryFolder() : folder_("/tmp/house_test.XXXXXX") {
    if (::mkdtemp(folder_.data()) == nullptr) throw std::runtime_error("mkdtemp");
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::string& folder() const { return folder_; }
  [[nodiscard]] std::string path(const std::string& name) const { return folder_ + "/" + name; }

 private:
  std::string folder_;
};

}  // namespace support
