// The section reader of korvanprofile.h and its trimming helpers.
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/descriptor.h"
#include "base/text.h"
#include "config/korvanprofile.h"
#include "config/precondition.h"

namespace config {
namespace {

constexpr const char* kSource = "korvanprofile";  // as the assertions name it

constexpr size_t kLineSize = 100;
constexpr size_t kHeaderSize = 32;
constexpr size_t kMaxSectionName = kHeaderSize - 3;  // two brackets and a terminator
constexpr size_t kKeySize = 32;

bool is_space(char byte) { return std::isspace(static_cast<uint8_t>(byte)) != 0; }

void cut_trailing_space(char* text) {
  size_t length = std::strlen(text);
  while (length > 0 && is_space(text[length - 1])) length--;
  text[length] = '\0';
}

bool has_key(const char* line, const char* key) {
  const size_t length = std::strcspn(line, "=|^ \t");
  return length < kKeySize && std::strlen(key) == length && std::strncmp(line, key, length) == 0;
}

// `value` is the line behind its first "=".
void copy_value(const char* value, char* out) {
  const size_t length = std::strcspn(value, "\n");
  if (length == 0) return;
  char whole[kLineSize];
  std::memcpy(whole, value, length);
  whole[length] = '\0';
  char trimmed[kLineSize];
  a_trim(trimmed, whole);
  const char* chosen = trimmed[0] != '\0' ? trimmed : whole;
  std::memcpy(out, chosen, std::strlen(chosen) + 1);
}

// Goes through the lines of an open file.
int read_string(std::FILE* file, const char* header, const char* key, char* out) {
  const size_t header_length = std::strlen(header);
  bool inside = false;
  char raw[kLineSize];
  while (std::fgets(raw, sizeof(raw), file) != nullptr) {
    char line[kLineSize];
    l_trim(line, raw);
    if (!inside) {
      inside = std::strncmp(line, header, header_length) == 0;
      continue;
    }
    if (line[0] == '[') return -1;
    const char* separator = std::strchr(line, '=');
    if (line[0] == '#' || separator == nullptr || !has_key(line, key)) continue;
    copy_value(separator + 1, out);
    return 0;
  }
  return -1;
}

}  // namespace

int profile_read_string(const char* path, const char* section, const char* key, char* out) {
  if (path == nullptr || section == nullptr || key == nullptr || out == nullptr) return -1;
  const base::File file(std::fopen(path, "re"));
  if (file == nullptr) {
    std::printf("openfile [%s] error [%s]\n", path, std::strerror(errno));
    return -1;
  }
  if (std::strlen(section) > kMaxSectionName) return -1;
  char header[kHeaderSize];
  base::format_text(header, "[%s]", section);
  return read_string(file.get(), header, key, out);
}

char* l_trim(char* szOutput, const char* szInput) {
  require(szInput != nullptr, "szInput != ((void *)0)", kSource, __func__);
  require(szOutput != nullptr, "szOutput != ((void *)0)", kSource, __func__);
  require(szOutput != szInput, "szOutput != szInput", kSource, __func__);
  while (is_space(*szInput)) szInput++;
  std::memmove(szOutput, szInput, std::strlen(szInput) + 1);
  return szOutput;
}

char* r_trim(char* szOutput, const char* szInput) {
  require(szInput != nullptr, "szInput != ((void *)0)", kSource, __func__);
  require(szOutput != nullptr, "szOutput != ((void *)0)", kSource, __func__);
  require(szOutput != szInput, "szOutput != szInput", kSource, __func__);
  std::memmove(szOutput, szInput, std::strlen(szInput) + 1);
  cut_trailing_space(szOutput);
  return szOutput;
}

char* a_trim(char* szOutput, const char* szInput) {
  require(szInput != nullptr, "szInput != ((void *)0)", kSource, __func__);
  require(szOutput != nullptr, "szOutput != ((void *)0)", kSource, __func__);
  l_trim(szOutput, szInput);
  cut_trailing_space(szOutput);
  return szOutput;
}

}  // namespace config
