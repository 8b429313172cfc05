#include "groundstation/flightside/app_frames.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/bytes.h"
#include "groundstation/messages/camera_messages.h"
#include "groundstation/messages/hex_text.h"
#include "groundstation/messages/whole_number.h"

namespace groundstation {
namespace {

constexpr uint8_t kAppHeartbeatLength = 9;

std::span<const uint8_t> payload_of(const flightlink::MavlinkMessage& frame) {
  return {frame.payload, frame.len};
}

}  // namespace

std::optional<AppFrame> parse_app_frame(const std::string& text, uint8_t own_system) {
  std::string_view rest = text;
  AppFrame frame{{}, own_system};
  if (const size_t at = rest.find('@'); at != std::string_view::npos) {
    const auto system = whole_number<uint8_t>(rest.substr(at + 1));
    if (!system.has_value()) return std::nullopt;
    frame.sysid = *system;
    rest = rest.substr(0, at);
  }
  if (const size_t colon = rest.find(':'); colon != std::string_view::npos) {
    auto payload = parse_hex(rest.substr(colon + 1));
    if (!payload.has_value() || payload->size() > 255) return std::nullopt;
    frame.message.payload = std::move(*payload);
    rest = rest.substr(0, colon);
  }
  const auto id = whole_number<uint8_t>(rest);
  if (!id.has_value()) return std::nullopt;
  frame.message.msgid = *id;
  return frame;
}

std::vector<uint8_t> app_frame_bytes(const AppFrame& frame, uint8_t sequence) {
  flightlink::MavlinkMessage message{};
  const std::vector<uint8_t>& payload = frame.message.payload;
  message.msgid = frame.message.msgid;
  std::copy(payload.begin(), payload.end(), message.payload);
  flightlink::mavlink_frame_seal(&message, frame.sysid, sequence,
                                 static_cast<uint8_t>(payload.size()),
                                 flightlink::mavlink_crc_extra(message.msgid));
  std::vector<uint8_t> bytes(flightlink::kMavlinkMaxFrame);
  bytes.resize(flightlink::mavlink_frame_to_buffer(bytes.data(), &message));
  return bytes;
}

std::optional<AppHeartbeat> app_heartbeat_of(const flightlink::MavlinkMessage& frame) {
  if (frame.msgid != 0 || frame.sysid != kSystemApplication || frame.len < kAppHeartbeatLength) {
    return std::nullopt;
  }
  // The address in reading order: the first four bytes are one number.
  const uint32_t high = base::load_u32le(frame.payload);
  return AppHeartbeat{
      fmt::format("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x}", high >> 24, high >> 16 & 0xFF,
                  high >> 8 & 0xFF, high & 0xFF, frame.payload[4], frame.payload[5]),
      (frame.payload[6] & 2) != 0, (frame.payload[7] & 7) == 1};
}

std::string app_frame_text(const flightlink::MavlinkMessage& frame) {
  if (const auto beat = app_heartbeat_of(frame)) {
    return fmt::format("heartbeat: camera {}, binding {}, {}recording", beat->mac,
                       beat->binding ? "on" : "off", beat->recording ? "" : "not ");
  }
  std::string text =
      fmt::format("message {} from {}, {} bytes", frame.msgid, frame.sysid, frame.len);
  if (frame.len > 0) text += ": " + hex_text(payload_of(frame));
  if (const auto event = decode_camera_message(frame)) text += "  (" + event_text(*event) + ")";
  return text;
}

nlohmann::json app_frame_json(const flightlink::MavlinkMessage& frame) {
  nlohmann::json object{{"event", "frame"},      {"id", frame.msgid},
                        {"system", frame.sysid}, {"component", frame.compid},
                        {"sequence", frame.seq}, {"payload", hex_text(payload_of(frame), 255)}};
  if (const auto beat = app_heartbeat_of(frame)) {
    object["mac"] = beat->mac;
    object["binding"] = beat->binding;
    object["recording"] = beat->recording;
  } else if (const auto event = decode_camera_message(frame)) {
    object["means"] = event_json(*event);
  }
  return object;
}

void AppStream::feed(std::span<const uint8_t> bytes,
                     const std::function<void(const flightlink::MavlinkMessage&)>& take) {
  flightlink::MavlinkMessage message{};
  flightlink::MavlinkParseStatus status{};
  for (const uint8_t byte : bytes) {
    if (flightlink::mavlink_parser_feed(&parser_, byte, &message, &status) == 1) take(message);
  }
}

}  // namespace groundstation
