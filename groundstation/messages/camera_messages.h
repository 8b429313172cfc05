// What the camera sends to its peer, decoded from MAVLink 1 frames.
//
//  id  len  sysid  payload (little-endian)
//   0    9     37  system_status @7: bit 0 stream on, bit 1 test mode, bit 2 recording
//  22   55     36  parameter: u16 number of parameters @4, u16 index from 1 @6, name @8 (16 bytes),
//                  value @24 (30 bytes), both ended by a zero
//  52    7     36  camera acknowledgement: subject @1, 76 @2, 180 @3, result @4, value @5;
//                  the short form after a clock setting: 111 @2, result @3
//  57   11     36  SD report: f32 total MB @0, f32 free MB @4, code @10
//  76   33     36  command (u16 @28) 2: status record, see camera_status.h
//                  command 202, target_component (@31) 3: record tick, f32 seconds @0
//                  command 202, target_component 16: time-lapse record, f32 shots @0, u32 counts @4
//  76   33     35  command 2: camera report, f32 code @0 (1 photo taken, 3 recording, 4 stopped,
//                  11 time-lapse, then f32 state @4)
//  77    3  35/36  command acknowledgement: u16 command @0, result @2 (0 done, 4 failed)
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <variant>

#include "flightlink/frame/mavlink_frame.h"
#include "groundstation/messages/camera_status.h"

namespace groundstation {

// Who a frame is for.
enum FrameSystem : uint8_t {
  kSystemFlightController = 35,
  kSystemApplication = 36,
  kSystemPeer = 37
};

inline constexpr uint8_t kResultDone = 0;

// Of camera acknowledgements; those of the settings are in setting_table.h.
inline constexpr uint8_t kSubjectNone = 0;  // video quality, and the values of a time-lapse
inline constexpr uint8_t kSubjectFormat = 1;
inline constexpr uint8_t kSubjectDefaults = 9;
inline constexpr uint8_t kSubjectMode = 10;

inline constexpr uint16_t kAckPhoto = 2001;
inline constexpr uint16_t kAckRecordStart = 2500;
inline constexpr uint16_t kAckRecordStop = 2501;

inline constexpr int kReportPhotoTaken = 1;
inline constexpr int kReportRecordingStarted = 3;
inline constexpr int kReportRecordingStopped = 4;
inline constexpr int kReportTimelapse = 11;

struct CameraHeartbeat {
  bool stream_on;
  bool test_mode;
  bool recording;
};

struct CameraAck {
  uint8_t subject;
  uint8_t result;
  uint8_t value;
  bool clock;  // the short form: answers a clock setting, only `result` means something
};

struct SdReport {
  float total_mb;
  float free_mb;
  uint8_t code;  // 0: the sizes hold; otherwise see sd_code_text
};

struct CommandAck {
  uint16_t command;
  uint8_t result;
};

struct CameraReport {
  int code;
  int state;  // of a time-lapse report: 0 running, 1 paused, 2 ended
};

struct RecordTick {
  uint32_t seconds;
};

struct TimelapseRecord {
  float shots;  // -1 while it runs
  uint32_t counts;
};

// One line of the device profile.
struct Parameter {
  uint16_t count;  // how many there are
  uint16_t index;  // from 1
  std::string name;
  std::string value;
};

using CameraEvent = std::variant<CameraHeartbeat, CameraStatus, CameraAck, SdReport, CommandAck,
                                 CameraReport, RecordTick, TimelapseRecord, Parameter>;

// Decodes one frame. Nothing for a frame of another sender, an unknown id or a payload that is too
// short for its id. Any thread may call.
[[nodiscard]] std::optional<CameraEvent> decode_camera_message(
    const flightlink::MavlinkMessage& message);

// One line for a person, and one object with an "event" member for a program.
[[nodiscard]] std::string event_text(const CameraEvent& event);
[[nodiscard]] nlohmann::json event_json(const CameraEvent& event);

}  // namespace groundstation
