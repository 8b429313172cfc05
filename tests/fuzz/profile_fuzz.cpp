// Any bytes as a file of key/value lines, and as one that is divided into sections. The first line of
// the input is the section and the second the key that is looked for; the rest is the file.
//
// What was parsed is in order, is found by its key, and gives the same table when it is written out
// and parsed again. A value of a section comes from the file, in one piece.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "base/descriptor.h"
#include "config/ccl.h"
#include "config/korvanprofile.h"
#include "fuzz/support.h"

namespace {

using namespace config;  // NOLINT

struct Pair {
  std::string key;
  std::string value;
  bool operator==(const Pair&) const = default;
};

// A file without a folder.
class Memory {
 public:
  Memory() : file_(memfd_create("profile", MFD_CLOEXEC)) {
    path_ = "/proc/self/fd/" + std::to_string(file_.get());
  }
  void fill(std::string_view text) const {
    const bool filled =
        ftruncate(file_.get(), 0) == 0 &&
        pwrite(file_.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
    fuzz::check(filled, "the file of the target itself");
  }
  [[nodiscard]] const char* path() const { return path_.c_str(); }

 private:
  base::Descriptor file_;
  std::string path_;
};

std::vector<Pair> parse(const Memory& file) {
  CclHandle handle{};
  handle.comment_character = '#';
  handle.separator_character = '=';
  handle.string_character = '"';
  fuzz::check(ccl_parse(&handle, file.path()) == 0, "a file cannot be parsed");
  std::vector<Pair> pairs;
  for (int round = 0; round < 2; round++) {
    size_t count = 0;
    while (const CclPair* pair = ccl_iterate(&handle)) {
      if (round == 0) pairs.push_back({pair->key, pair->value});
      fuzz::check(pairs[count].key == pair->key, "another order in the second walk");
      fuzz::check(ccl_get(&handle, pair->key) == pair->value, "not found", pair->key);
      count++;
    }
    fuzz::check(count == pairs.size(), "another count in the second walk");
  }
  ccl_release(&handle);
  for (size_t i = 1; i < pairs.size(); i++) {
    fuzz::check(std::strcmp(pairs[i - 1].key.c_str(), pairs[i].key.c_str()) < 0, "order");
  }
  return pairs;
}

// A bare word may hold a quote, behind its first byte; what is quoted may hold anything else.
std::string written(const std::string& token) {
  return token.find('"') == std::string::npos ? '"' + token + '"' : token;
}

void check_pairs(const Memory& file, std::string_view text) {
  file.fill(text);
  const std::vector<Pair> pairs = parse(file);
  std::string again;
  for (const Pair& pair : pairs) {
    fuzz::check((pair.key + pair.value).find('\n') == std::string::npos, "two lines in a pair");
    again += written(pair.key) + " = " + written(pair.value) + " # as it was\n";
  }
  file.fill(again);
  fuzz::check(parse(file) == pairs, "not the same when written out", again);
}

void check_section(const Memory& file, std::string_view text, const std::string& section,
                   const std::string& key) {
  file.fill(text);
  char untouched[100];
  std::memset(untouched, 'u', sizeof(untouched));
  untouched[99] = '\0';
  std::string value(100, '\0');  // as much as is asked of a caller
  std::memcpy(value.data(), untouched, sizeof(untouched));
  const int result = profile_read_string(file.path(), section.c_str(), key.c_str(), value.data());
  fuzz::check(result == 0 || result == -1, "result");
  value.resize(strnlen(value.c_str(), 100));
  fuzz::check(value.size() < 100, "no end");
  if (value == untouched) return;
  fuzz::check(result == 0, "a value that was not found");
  fuzz::check(value.find('\n') == std::string::npos, "two lines");
  fuzz::check(text.find(value) != std::string_view::npos, "a value that is not in the file", value);
}

void check_trims(const std::string& text) {
  const std::string own(text.c_str());  // up to a zero
  std::string left(own.size() + 1, '\0');
  std::string both = left;
  std::string right = left;
  std::string all = left;
  l_trim(left.data(), own.c_str());
  r_trim(both.data(), left.data());
  r_trim(right.data(), own.c_str());
  a_trim(all.data(), own.c_str());
  fuzz::check(std::strcmp(all.c_str(), both.c_str()) == 0, "trims");
  fuzz::check(own.starts_with(right.c_str()) && own.ends_with(left.c_str()), "trims");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static const Memory file;
  fuzz::Input input(bytes, size);
  const std::string section(fuzz::text_of(input.until('\n')));
  const std::string key(fuzz::text_of(input.until('\n')));
  const std::string_view text = fuzz::text_of(input.rest());
  check_trims(section);
  check_section(file, text, section, key);
  check_pairs(file, text);
  return 0;
}
