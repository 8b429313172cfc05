// The peer's side of the link for the camera tests, written apart from the code under test: checks
// one datagram as a MAVLink 1 frame and turns it into a line of text.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace camera_test {

// "app 77: d1 07 00": the destination by system id (36 app, 35 flight), the message id and the
// payload in hexadecimal. "bad frame: ..." for anything that is not exactly one frame with
// component id 0, a known message id and a right checksum.
[[nodiscard]] std::string decode_frame(std::span<const uint8_t> datagram);

// "d1 07 00"
[[nodiscard]] std::string hex(std::span<const uint8_t> bytes);

}  // namespace camera_test
