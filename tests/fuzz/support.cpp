#include "fuzz/support.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "base/bytes.h"
#include "flightlink/frame/mavlink_frame.h"

namespace fuzz {
namespace {

Receiver receiver;

// Text that a program's own commands are made of.
bool plain(char byte) {
  const bool letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
  const bool digit = byte >= '0' && byte <= '9';
  return letter || digit || std::string_view(" ./_-=>*{}':|$").find(byte) != std::string_view::npos;
}

ssize_t take(int wire, const void* bytes, size_t size) {
  if (receiver && !receiver(wire, {static_cast<const uint8_t*>(bytes), size})) {
    errno = EPIPE;
    return -1;
  }
  return static_cast<ssize_t>(size);
}

}  // namespace

void fail(const char* what, std::string_view detail) {
  dprintf(STDERR_FILENO, "broken: %s", what);
  if (!detail.empty()) {
    dprintf(STDERR_FILENO, ": %.*s", static_cast<int>(detail.size()), detail.data());
  }
  dprintf(STDERR_FILENO, "\n");
  std::abort();
}

void require_board() {
  check(access("/usr/local/share/script/t_gpio.sh", F_OK) == 0, "not in a virtual board",
        "board/board exec -- PROGRAM");
}

uint8_t Input::byte() {
  const auto one = piece(1);
  return one.empty() ? uint8_t{0} : one[0];
}

uint16_t Input::word() {
  const uint8_t low = byte();
  return static_cast<uint16_t>(low | byte() << 8);
}

uint32_t Input::number() {
  const uint32_t low = word();
  return low | uint32_t{word()} << 16;
}

std::span<const uint8_t> Input::piece(size_t size) {
  const auto front = rest_.first(std::min(size, rest_.size()));
  rest_ = rest_.subspan(front.size());
  return front;
}

std::span<const uint8_t> Input::until(uint8_t stop) {
  const auto place = std::find(rest_.begin(), rest_.end(), stop);
  const auto front = piece(static_cast<size_t>(place - rest_.begin()));
  piece(1);
  return front;
}

void on_send(Receiver next) { receiver = std::move(next); }

void check_frame(std::span<const uint8_t> bytes) {
  flightlink::MavlinkParser parser{};
  flightlink::MavlinkMessage message{};
  flightlink::MavlinkParseStatus status{};
  size_t end = 0;
  for (size_t i = 0; i < bytes.size() && end == 0; i++) {
    if (flightlink::mavlink_parser_feed(&parser, bytes[i], &message, &status) == 1) end = i + 1;
  }
  check(end > 0 && end == bytes.size(), "what was sent is no frame");
}

void check_camera_text(std::string_view text) {
  check(text.starts_with("{\"msg_id\":") && text.ends_with('}'), "no object", text);
  check(std::count(text.begin(), text.end(), '{') == 1, "not flat", text);
  check(std::count(text.begin(), text.end(), '}') == 1, "two objects", text);
  check(std::count(text.begin(), text.end(), '"') % 2 == 0, "a text without its end", text);
  check(text.find(",\"token\":") != std::string_view::npos, "no token", text);
  for (const char byte : text) check(byte >= ' ' && byte < 0x7F && byte != '\\', "bytes", text);
}

void check_command(std::string_view command) {
  constexpr std::string_view kField = "{print $";  // of awk; the only place of a "$"
  for (size_t i = 0; i < command.size(); i++) {
    const bool field = command[i] != '$' || command.substr(0, i + 1).ends_with(kField);
    check(plain(command[i]) && field, "a command", command);
  }
}

}  // namespace fuzz

extern "C" {

// The searching program's hook: the lines of the program under test would drown its own, which go to
// the standard error that is kept by descriptor.
int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  stdout = std::fopen("/dev/null", "w");
  stderr = std::fopen("/dev/null", "w");
  return stdout != nullptr && stderr != nullptr ? 0 : 1;
}

ssize_t __real_send(int fd, const void* bytes, size_t size, int flags);
ssize_t __real_sendto(int fd, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t to_size);

ssize_t __wrap_send(int fd, const void* bytes, size_t size, int flags) {
  return fd >= fuzz::kFirstWire ? fuzz::take(fd, bytes, size) : __real_send(fd, bytes, size, flags);
}

ssize_t __wrap_sendto(int fd, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t to_size) {
  return fd >= fuzz::kFirstWire ? fuzz::take(fd, bytes, size)
                                : __real_sendto(fd, bytes, size, flags, to, to_size);
}
}
