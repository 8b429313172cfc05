// Frames of a TCP session with the camera: what the user wants to send, and what arrives as text.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "flightlink/frame/mavlink_frame.h"
#include "groundstation/messages/peer_messages.h"

namespace groundstation {

struct AppFrame {
  PeerMessage message;
  uint8_t sysid;
};

// "ID", "ID:HEX", "ID@SYSTEM" or "ID:HEX@SYSTEM": message id and system id in decimal, the payload
// of up to 255 bytes in hexadecimal. Nothing for other texts.
[[nodiscard]] std::optional<AppFrame> parse_app_frame(const std::string& text, uint8_t own_system);

// The bytes of the frame with its checksum.
[[nodiscard]] std::vector<uint8_t> app_frame_bytes(const AppFrame& frame, uint8_t sequence);

// What the camera's heartbeat to an application tells.
struct AppHeartbeat {
  std::string mac;
  bool binding;
  bool recording;
};
[[nodiscard]] std::optional<AppHeartbeat> app_heartbeat_of(const flightlink::MavlinkMessage& frame);

[[nodiscard]] std::string app_frame_text(const flightlink::MavlinkMessage& frame);
[[nodiscard]] nlohmann::json app_frame_json(const flightlink::MavlinkMessage& frame);

// The frames of a stream of bytes.
class AppStream {
 public:
  void feed(std::span<const uint8_t> bytes,
            const std::function<void(const flightlink::MavlinkMessage&)>& take);

 private:
  flightlink::MavlinkParser parser_{};
};

}  // namespace groundstation
