// What the fuzz targets share: an input that is read from its front, checks that end the process, and
// wires, which stand for sockets: what the program sends on one goes to the target instead of a
// network.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace fuzz {

// Says what does not hold, on the descriptor that the searching program reports on, and aborts.
[[noreturn]] void fail(const char* what, std::string_view detail = {});
inline void check(bool holds, const char* what, std::string_view detail = {}) {
  if (!holds) fail(what, detail);
}

// Beyond its end numbers are 0 and pieces are empty.
class Input {
 public:
  Input(const uint8_t* bytes, size_t size) : rest_(bytes, size) {}

  [[nodiscard]] bool empty() const { return rest_.empty(); }
  uint8_t byte();
  uint16_t word();
  uint32_t number();
  // At most that many bytes.
  std::span<const uint8_t> piece(size_t size);
  // Up to the byte, which is dropped, or the end.
  std::span<const uint8_t> until(uint8_t stop);
  std::span<const uint8_t> rest() { return piece(rest_.size()); }

 private:
  std::span<const uint8_t> rest_;
};

// For a target that uses the card: it is only run inside a virtual board, which has one of its own.
void require_board();

[[nodiscard]] inline std::string_view text_of(std::span<const uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
[[nodiscard]] inline std::span<const uint8_t> bytes_of(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// Numbers above every descriptor that a process can have.
inline constexpr int kFirstWire = 1 << 24;
inline constexpr int kPeerWire = kFirstWire;
inline constexpr int kCameraWire = kFirstWire + 1;
inline constexpr int kAppWire = kFirstWire + 2;
inline constexpr int kAckWire = kFirstWire + 3;

// Gets each send on a wire; false: it fails with EPIPE. One for the process; empty: all succeed.
using Receiver = std::function<bool(int wire, std::span<const uint8_t> bytes)>;
void on_send(Receiver receiver);

// A whole MAVLink frame, and nothing behind it.
void check_frame(std::span<const uint8_t> bytes);
// One flat JSON object with a msg_id and a token, as the camera service is sent.
void check_camera_text(std::string_view text);
// A shell command in which nothing from outside can have a meaning of its own.
void check_command(std::string_view command);

}  // namespace fuzz
