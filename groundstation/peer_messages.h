// The payloads that the peer sends to the camera (MAVLink 1, little-endian).
//
//   id  len  payload
//    0    9  HEARTBEAT: system_status @7: low nibble 2 asks for live video, high nibble link level;
//            mavlink_version 3 @8
//   24   30  GPS_RAW_INT: i32 latitude @8, i32 longitude @12 (1e-7 degrees), i32 altitude @16 (mm)
//   56    1  SD card query
//   67    4  live video switch: @3 non-zero on
//   76   33  COMMAND_LONG: f32 param1..7 @0..24, u16 command @28, target_component @31
//  141    4  f32 altitude @0, metres
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace groundstation {

// One message that is still without sequence number and checksum.
struct PeerMessage {
  uint8_t msgid;
  std::vector<uint8_t> payload;
};

enum class CameraAction : uint8_t {
  kPhotoMode = 0,
  kTakePhoto = 1,
  kVideoMode = 2,
  kStartRecording = 3,
  kStopRecording = 4,
  kBitrate = 9,
};

[[nodiscard]] PeerMessage heartbeat_message(bool wants_live_video, uint8_t link_level);
// `value` is used by kBitrate only.
[[nodiscard]] PeerMessage action_message(CameraAction action, int value = 0);
// A photo whose name gets a mode code and a sequence number; mode 0 leaves the name alone.
[[nodiscard]] PeerMessage named_photo_message(int mode, int sequence);
[[nodiscard]] PeerMessage sd_query_message();
[[nodiscard]] PeerMessage stream_switch_message(bool on);
// Degrees and metres.
[[nodiscard]] PeerMessage position_message(double latitude, double longitude, double altitude);
[[nodiscard]] PeerMessage altitude_message(double altitude);

// Degrees as the wire has them: 1e-7 degrees, rounded.
[[nodiscard]] int32_t wire_degrees(double degrees);

}  // namespace groundstation
