#include "camera_service/json_cutter.h"

#include <algorithm>
#include <utility>

namespace camera_service {

JsonCutter::Piece JsonCutter::take(bool object, size_t length) {
  Piece piece{object, buffer_.substr(0, length)};
  buffer_.erase(0, length);
  return piece;
}

std::string JsonCutter::give_up() { return std::exchange(buffer_, {}); }

std::optional<JsonCutter::Piece> JsonCutter::next() {
  buffer_.erase(0, buffer_.find_first_not_of(" \t\r\n"));
  if (buffer_.empty()) return std::nullopt;
  if (buffer_.front() != '{') return take(false, std::min(buffer_.find('{'), buffer_.size()));

  bool in_string = false;
  for (size_t i = 1; i < buffer_.size(); i++) {
    const char c = buffer_[i];
    if (i >= kLongestObject) return take(false, i);
    if (in_string) {
      if (c == '\\') {
        i++;
      } else if (c == '"') {
        in_string = false;
      } else if (static_cast<unsigned char>(c) < 0x20) {
        // A string never holds a control byte: the quote before it was junk.
        return take(false, i);
      }
    } else if (c == '"') {
      in_string = true;
    } else if (c == '}') {
      return take(true, i + 1);
    } else if (c == '{') {
      // Commands are flat, so this is the start of the next one.
      return take(false, i);
    }
  }
  return std::nullopt;
}

}  // namespace camera_service
