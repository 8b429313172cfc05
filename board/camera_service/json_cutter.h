// Cuts a byte stream into the flat JSON objects of the command protocol, which follow each other
// without a delimiter. The stream is hostile: whatever is no object comes out as junk, and no input
// keeps the objects after it from being found.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace camera_service {

class JsonCutter {
 public:
  // An object longer than this is junk.
  static constexpr size_t kLongestObject = 4096;

  struct Piece {
    bool object;  // from "{" to its "}"; still to be parsed
    std::string text;
  };

  void feed(std::string_view bytes) { buffer_ += bytes; }
  // The next complete piece, or nothing until more bytes have come. Blanks between objects vanish.
  [[nodiscard]] std::optional<Piece> next();
  // Gives up the unfinished object that is held, if any, and returns it.
  [[nodiscard]] std::string give_up();

 private:
  [[nodiscard]] Piece take(bool object, size_t length);

  std::string buffer_;
};

}  // namespace camera_service
