// A recorded ground side, ready to be sent once more: the datagrams of a capture file that went to
// the camera, each with its time.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace groundstation {

struct RecordedDatagram {
  uint64_t after_us;  // since the first one
  size_t road;
  std::vector<uint8_t> bytes;
};

// One socket of the ground side and one port of the camera.
struct RecordedRoad {
  uint16_t from_port;
  uint16_t to_port;
  size_t datagrams = 0;
};

struct Recording {
  std::vector<RecordedDatagram> datagrams;
  std::vector<RecordedRoad> roads;
  sockaddr_in camera{};  // as it was then; its port is that of the link
  size_t left_out = 0;   // packets to the camera that are no whole UDP datagram
};

// Reads them. `camera`: the camera's address and link port in the file. Without it that is the
// address `likely` if the file has it, else the one that uses the ports of the media channel or of
// the live video; the port is then 8888. Returns an empty text, or why there is nothing to send.
[[nodiscard]] std::string read_recording(const std::string& path,
                                         const std::optional<sockaddr_in>& camera,
                                         const sockaddr_in& likely, Recording* recording);

}  // namespace groundstation
