#include "config/conf_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace config_test {

using namespace config;

ConfFile::ConfFile(std::string_view content)
    : path_(::testing::TempDir() + "conf_file_test_XXXXXX") {
  const int file = mkstemp(path_.data());
  EXPECT_GE(file, 0) << path_;
  close(file);
  write(content);
}

ConfFile::~ConfFile() { unlink(path_.c_str()); }

void ConfFile::write(std::string_view content) const { write_file(path_, content); }

void write_file(const std::string& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  EXPECT_TRUE(file.good()) << "cannot write " << path;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

CclHandle profile_handle() {
  CclHandle handle{};
  handle.comment_character = '#';
  handle.separator_character = '=';
  handle.string_character = '"';
  return handle;
}

Pairs walk(CclHandle* handle) {
  Pairs pairs;
  while (const CclPair* pair = ccl_iterate(handle)) pairs.emplace_back(pair->key, pair->value);
  return pairs;
}

Parsed parse(std::string_view content) {
  const ConfFile file(content);
  CclHandle handle = profile_handle();
  ::testing::internal::CaptureStderr();
  const int result = ccl_parse(&handle, file.path());
  std::string messages = ::testing::internal::GetCapturedStderr();
  const std::string path = file.path();
  for (size_t at = messages.find(path); at != std::string::npos; at = messages.find(path, at)) {
    messages.replace(at, path.size(), "FILE");
  }
  Parsed parsed{result, walk(&handle), messages};
  ccl_release(&handle);
  return parsed;
}

}  // namespace config_test
