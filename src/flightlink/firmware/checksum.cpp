#include "flightlink/firmware/checksum.h"

#include <charconv>
#include <cstring>
#include <string_view>

#include "base/descriptor.h"
#include "base/shell.h"
#include "base/text.h"

namespace flightlink {
namespace {

constexpr size_t kPathSize = 200;
constexpr size_t kSetCharacters = 200;
constexpr std::string_view kCksName = "cks";
constexpr std::string_view kCksPrefix = "99";
constexpr std::string_view kBlanks = " \t\r\n";

// Every name between the slashes.
bool safe_path(std::string_view path) {
  if (path.size() >= kPathSize) return false;
  if (path.starts_with('/')) path.remove_prefix(1);
  for (;;) {
    const size_t slash = path.find('/');
    if (!base::safe_name(path.substr(0, slash)) || path.front() == '-') return false;
    if (slash == std::string_view::npos) return true;
    path.remove_prefix(slash + 1);
  }
}

bool is_cks(std::string_view path) {
  const size_t slash = path.rfind('/');
  return path.substr(slash == std::string_view::npos ? 0 : slash + 1) == kCksName;
}

// The number behind the prefix; -1 when the file says anything else.
int64_t read_cks(const char* path) {
  const base::File file(std::fopen(path, "rb"));
  if (file == nullptr) return -1;
  char bytes[32];
  std::string_view text(bytes, std::fread(bytes, 1, sizeof(bytes), file.get()));
  if (!text.starts_with(kCksPrefix)) return -1;
  text.remove_prefix(kCksPrefix.size());
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  const bool only_blanks = text.find_first_not_of(kBlanks) == std::string_view::npos;
  return error == std::errc() && only_blanks ? int64_t{number} : -1;
}

}  // namespace

int32_t md5_of_file(const char* path, char* text, size_t size) {
  if (path == nullptr || text == nullptr || size == 0 || !safe_path(path)) return -1;
  char command[kPathSize + 50];
  base::format_text(command, "/bin/md5sum %s | awk '{print $1}'", path);
  if (base::read_shell_line(command, text, size) != 1) return -1;
  size_t length = std::strlen(text);
  while (length > 0 && text[length - 1] == '\n') text[--length] = '\0';
  return length > 0 ? 0 : -1;
}

uint16_t firmware_checksum(std::span<const char> characters) {
  uint32_t sum = 0;
  for (const char c : characters) sum += static_cast<uint8_t>(c);
  sum = (sum & 0xFFFF) + (sum >> 16);
  sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

int32_t firmware_cks_check(std::span<const char* const> paths) {
  char texts[kSetCharacters];
  size_t length = 0;
  int64_t expected = -1;
  for (const char* path : paths) {
    if (is_cks(path)) {
      expected = read_cks(path);
      continue;
    }
    char md5[64];
    if (md5_of_file(path, md5, sizeof(md5)) != 0) return -1;
    const size_t characters = std::strlen(md5);
    if (characters > sizeof(texts) - length) return -1;
    std::memcpy(texts + length, md5, characters);
    length += characters;
  }
  return expected == firmware_checksum({texts, length}) ? 0 : -1;
}

}  // namespace flightlink
