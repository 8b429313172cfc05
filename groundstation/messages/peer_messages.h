// The payloads that the peer sends to the camera (MAVLink 1, little-endian).
//
//   id  len  payload
//    0    9  HEARTBEAT: system_status @7: low nibble 2 asks for live video, high nibble link level;
//            mavlink_version 3 @8
//   21    0  parameter list query
//   24   30  GPS_RAW_INT: i32 latitude @8, i32 longitude @12 (1e-7 degrees), i32 altitude @16 (mm)
//   56    1  SD card query
//   67    4  live video switch: @3 non-zero on
//   76   33  COMMAND_LONG: f32 param1..7 @0..24, u16 command @28, target_component @31,
//            confirmation @32
//   90    8  flight data: u64 time @0
//  105   62  gimbal data: u64 time @0, 13 f32 @8, u16 value @60
//  107   64  flight data: u64 time @0, 13 f32 @8, u32 value @60
//  111   12  clock: u64 milliseconds since the epoch @0, i32 hours to add @8
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
// A camera setting; `sub` selects it, see setting_table.h.
[[nodiscard]] PeerMessage setting_message(uint8_t sub, int32_t value);
inline constexpr uint8_t kSubFormat = 1;
inline constexpr uint8_t kSubDefaults = 9;

struct Timelapse {
  int count = 0;     // how often, as the camera reports it back
  int interval = 5;  // seconds, 1 to 15
  std::array<float, 4> values{};
};
[[nodiscard]] PeerMessage timelapse_start_message(const Timelapse& timelapse);
[[nodiscard]] PeerMessage timelapse_stop_message();

// What arrived of the live video's frames, and five counts of losses, the gravest first.
struct LinkQuality {
  int sent = 0;
  int arrived = 0;
  std::array<int, 5> losses{};
};
[[nodiscard]] PeerMessage link_quality_message(const LinkQuality& quality);

struct Telemetry {
  uint8_t msgid;  // 90, 105 or 107
  uint64_t time;
  std::array<float, 13> values;
  uint32_t value;
};
[[nodiscard]] PeerMessage telemetry_message(const Telemetry& telemetry);

[[nodiscard]] PeerMessage clock_message(uint64_t milliseconds, int32_t hours);
[[nodiscard]] PeerMessage parameter_query_message();
[[nodiscard]] PeerMessage sd_query_message();
[[nodiscard]] PeerMessage stream_switch_message(bool on);
// Degrees and metres.
[[nodiscard]] PeerMessage position_message(double latitude, double longitude, double altitude);
[[nodiscard]] PeerMessage altitude_message(double altitude);

// Degrees as the wire has them: 1e-7 degrees, rounded.
[[nodiscard]] int32_t wire_degrees(double degrees);

}  // namespace groundstation
