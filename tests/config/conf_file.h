// Files that a test writes and handles that read them.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ccl.h"

namespace config_test {

// A file of its own with that content, removed with the object.
class ConfFile {
 public:
  explicit ConfFile(std::string_view content = {});
  ~ConfFile();
  ConfFile(const ConfFile&) = delete;
  ConfFile& operator=(const ConfFile&) = delete;

  void write(std::string_view content) const;
  [[nodiscard]] const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

void write_file(const std::string& path, std::string_view content);
std::string read_file(const std::string& path);

// A handle with "#", "=" and double quotes, without a table.
config::CclHandle profile_handle();

using Pairs = std::vector<std::pair<std::string, std::string>>;
// What the next walk gives up to its end.
Pairs walk(config::CclHandle* handle);

struct Parsed {
  int result;
  Pairs pairs;
  std::string messages;  // with FILE for the path
};
// Parses a file with that content and releases the table.
Parsed parse(std::string_view content);

}  // namespace config_test
