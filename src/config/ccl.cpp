#include "config/ccl.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/descriptor.h"
#include "config/ccl_pairs.h"

namespace config {
namespace {

constexpr size_t kChunkSize = 1024;
constexpr size_t kFirstTokenSize = 32;

int compare_pairs(const void* a, const void* b, void*) {
  return std::strcmp(static_cast<const CclPair*>(a)->key, static_cast<const CclPair*>(b)->key);
}

// A token that grows, with room for its terminator.
class Token {
 public:
  Token() = default;
  Token(const Token&) = delete;
  Token& operator=(const Token&) = delete;
  ~Token() { std::free(bytes_); }

  void clear() { length_ = 0; }

  // False when memory is exhausted.
  [[nodiscard]] bool append(const char* from, size_t count) {
    if (count == 0) return true;
    size_t size = std::max(size_, kFirstTokenSize);
    while (size - length_ <= count) size *= 2;
    if (size != size_) {
      void* grown = std::realloc(bytes_, size);
      if (grown == nullptr) return false;
      bytes_ = static_cast<char*>(grown);
      size_ = size;
    }
    std::memcpy(bytes_ + length_, from, count);
    length_ += count;
    return true;
  }

  // Valid until the token changes. For its readers the token ends at its first NUL byte.
  [[nodiscard]] const char* text() {
    if (length_ == 0) return "";
    bytes_[length_] = '\0';
    return bytes_;
  }

  void swap(Token& other) {
    std::swap(bytes_, other.bytes_);
    std::swap(size_, other.size_);
    std::swap(length_, other.length_);
  }

 private:
  char* bytes_ = nullptr;
  size_t size_ = 0;
  size_t length_ = 0;
};

// The state machine. It takes the file chunk by chunk and may pause at any byte.
class Parser {
 public:
  Parser(const CclHandle& handle, const char* path) : handle_(handle), path_(path) {
    for (int byte = 0; byte < 256; byte++) ends_word_[byte] = std::isspace(byte) != 0;
    ends_word_[static_cast<uint8_t>('\n')] = true;
    ends_word_[static_cast<uint8_t>(handle.comment_character)] = true;
    ends_word_[static_cast<uint8_t>(handle.separator_character)] = true;
  }

  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;
  ~Parser() = default;

  // False when memory is exhausted; nothing more can be fed then.
  [[nodiscard]] bool feed(const char* at, const char* end) {
    while (at != end) {
      switch (state_) {
        case State::kBetweenTokens:
          at = between_tokens(at);
          break;
        case State::kComment:
          at = comment(at, end);
          break;
        case State::kQuoted:
          at = quoted(at, end);
          break;
        case State::kWord:
          at = word(at, end);
          break;
        case State::kKey:
          accept_key();
          break;
        case State::kEndOfLine:
          at = end_of_line(at);
          break;
      }
      if (at == nullptr) return false;
    }
    return true;
  }

  // Everything read so far goes into the table.
  void hand_over() { pairs_.hand_over(handle_.table); }

 private:
  enum class State { kBetweenTokens, kComment, kQuoted, kWord, kKey, kEndOfLine };

  // The operations of the states that take bytes: each takes at least one or changes the state, and
  // returns where to go on; null when memory is exhausted.

  const char* between_tokens(const char* at) {
    const char byte = *at;
    if (byte == handle_.comment_character) {
      state_ = State::kComment;
    } else if (byte == handle_.string_character) {
      start_token(State::kQuoted);
    } else if (byte == '\n') {
      state_ = State::kEndOfLine;
      return at;
    } else if (byte == handle_.separator_character) {
      state_ = State::kKey;
    } else if (std::isspace(static_cast<uint8_t>(byte)) == 0) {
      start_token(State::kWord);
      if (!token_.append(at, 1)) return nullptr;
    }
    return at + 1;
  }

  const char* comment(const char* at, const char* end) {
    const char* newline = std::find(at, end, '\n');
    if (newline != end) state_ = State::kEndOfLine;
    return newline;
  }

  const char* quoted(const char* at, const char* end) {
    const char* stop = std::find_if(
        at, end, [this](char byte) { return byte == handle_.string_character || byte == '\n'; });
    if (!token_.append(at, static_cast<size_t>(stop - at))) return nullptr;
    if (stop == end) return end;
    if (*stop == handle_.string_character) {
      token_ready_ = true;
      state_ = State::kBetweenTokens;
      return stop + 1;
    }
    std::fprintf(stderr, ": Unterminated string (%s:%u)\n", path_, line_);
    state_ = State::kEndOfLine;
    return stop;
  }

  const char* word(const char* at, const char* end) {
    const char* stop =
        std::find_if(at, end, [this](char byte) { return ends_word_[static_cast<uint8_t>(byte)]; });
    if (!token_.append(at, static_cast<size_t>(stop - at))) return nullptr;
    if (stop == end) return end;
    token_ready_ = true;
    if (*stop == handle_.comment_character) {
      state_ = State::kComment;
    } else if (*stop == '\n') {
      state_ = State::kEndOfLine;
      return stop;
    } else if (*stop == handle_.separator_character) {
      state_ = State::kKey;
    } else {
      state_ = State::kBetweenTokens;
    }
    return stop + 1;
  }

  const char* end_of_line(const char* newline) {
    if (key_waits_ && !store_value()) return nullptr;
    token_ready_ = false;
    line_++;
    state_ = State::kBetweenTokens;
    return newline + 1;
  }

  void start_token(State state) {
    token_.clear();
    token_ready_ = false;
    state_ = state;
  }

  // After a separator, once a byte follows: the ready token becomes the key of the line.
  void accept_key() {
    key_waits_ = false;
    if (!token_ready_) {
      std::fprintf(stderr, ": Missing key (%s:%u)\n", path_, line_);
    } else {
      key_.swap(token_);
      key_waits_ = !pairs_.holds(key_.text());
      if (!key_waits_) {
        std::fprintf(stderr, ": Ignoring duplicate key '%s' (%s:%u)\n", key_.text(), path_, line_);
      }
    }
    token_ready_ = false;
    state_ = State::kBetweenTokens;
  }

  bool store_value() {
    key_waits_ = false;
    return pairs_.add(key_.text(), token_ready_ ? token_.text() : "");
  }

  const CclHandle& handle_;
  const char* path_;
  bool ends_word_[256];
  State state_ = State::kBetweenTokens;
  uint32_t line_ = 1;
  Token token_;
  bool token_ready_ = false;
  Token key_;
  bool key_waits_ = false;  // key_ waits for its value
  PairCollector pairs_;
};

// Returns 0 or ENOMEM. A file that cannot be read further ends there.
int parse_file(const CclHandle& handle, const char* path, int file) {
  Parser parser(handle, path);
  char chunk[kChunkSize];
  bool complete = true;
  ssize_t count = 0;
  do {
    count = read(file, chunk, sizeof(chunk));
    if (count > 0) complete = parser.feed(chunk, chunk + count);
  } while (complete && (count > 0 || (count < 0 && errno == EINTR)));
  parser.hand_over();
  return complete ? 0 : ENOMEM;
}

}  // namespace

int ccl_parse(CclHandle* handle, const char* path) {
  if (handle == nullptr || path == nullptr) return EINVAL;
  handle->walking = 0;
  handle->table = bst_create(compare_pairs, nullptr, nullptr);
  if (handle->table == nullptr) return ENOMEM;
  const base::Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
  if (!file.open()) {
    std::fprintf(stderr, ": Unable to open '%s'\n", path);
    return ENOENT;
  }
  return parse_file(*handle, path, file.get());
}

const char* ccl_get(const CclHandle* handle, const char* key) {
  if (handle == nullptr || key == nullptr || handle->table == nullptr) return nullptr;
  const CclPair wanted = {key, nullptr};
  const auto* pair = static_cast<const CclPair*>(bst_find(handle->table, &wanted));
  return pair != nullptr ? pair->value : nullptr;
}

const CclPair* ccl_iterate(CclHandle* handle) {
  if (handle == nullptr || handle->table == nullptr) return nullptr;
  if (handle->walking == 0) {
    handle->walking = 1;
    return static_cast<const CclPair*>(bst_t_first(&handle->cursor, handle->table));
  }
  return static_cast<const CclPair*>(bst_t_next(&handle->cursor));
}

void ccl_release(CclHandle* handle) {
  if (handle == nullptr || handle->table == nullptr) return;
  bst_destroy(handle->table, nullptr);  // a pair goes with its node
  handle->table = nullptr;
}

}  // namespace config
