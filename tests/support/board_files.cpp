#include "support/board_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace support {

namespace fs = std::filesystem;

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, std::string_view content) {
  std::error_code ignored;
  fs::create_directories(fs::path(path).parent_path(), ignored);
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  EXPECT_TRUE(file.good()) << "cannot write " << path;
}

bool file_exists(const std::string& path) {
  std::error_code ignored;
  return fs::exists(path, ignored);
}

std::vector<std::string> list_folder(const std::string& path) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(path, error)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> gpio_log() {
  std::vector<std::string> lines;
  std::ifstream file("/tmp/gpio.log");
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> gpio_values(std::string_view line) {
  std::vector<std::string> values;
  const std::string head = std::string(line) + " ";
  for (const std::string& entry : gpio_log()) {
    if (entry.starts_with(head)) values.push_back(entry.substr(head.size()));
  }
  return values;
}

}  // namespace support
