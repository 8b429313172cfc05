// The messages of the link in one table: id, payload length, CRC extra byte and name. What their payloads
// hold is said where they are sent and handled.
#pragma once

#include <cstdint>

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

struct MessageType {
  uint8_t id;
  uint8_t length;  // of the payload: as it is sent, or as far as a received one is read
  uint8_t crc_extra;
  const char* name;
};

// What a COMMAND_LONG commands.
enum CommandCode : uint16_t {
  kCommandCameraAction = 2,
  kCommandFirmware = 4,
  kCommandSetting = 180,
  kCommandDigicam = 203,  // and, by its target component, link quality and reports
};

inline constexpr MessageType kHeartbeat{0, 9, 50, "HEARTBEAT"};
inline constexpr MessageType kParameterListRequest{21, 0, 159, "PARAM_REQUEST_LIST"};
inline constexpr MessageType kParameterValue{22, 55, 49,
                                             "PARAM_VALUE"};  // also a media list record
inline constexpr MessageType kPosition{24, 16, 24, "GPS_RAW_INT"};
inline constexpr MessageType kLocalPosition{32, 8, 185, "LOCAL_POSITION_NED"};
inline constexpr MessageType kServoOutputs{36, 0, 222, "SERVO_OUTPUT_RAW"};
inline constexpr MessageType kCameraAck{52, 7, 221, "CAMERA_ACK"};
inline constexpr MessageType kSdQuery{56, 0, 150, "SD_QUERY"};
inline constexpr MessageType kSdReport{57, 11, 229, "SD_REPORT"};
inline constexpr MessageType kLinkConfiguration{59, 44, 24, "LINK_CONFIGURATION"};
inline constexpr MessageType kDataStream{67, 4, 21, "DATA_STREAM"};
inline constexpr MessageType kCommandLong{76, 33, 152, "COMMAND_LONG"};
inline constexpr MessageType kCommandAck{77, 3, 143, "COMMAND_ACK"};
inline constexpr MessageType kFlightData90{90, 0, 183, "FLIGHT_DATA_90"};
inline constexpr MessageType kGimbalData{105, 62, 93, "GIMBAL_DATA"};
inline constexpr MessageType kFlightData107{107, 64, 108, "FLIGHT_DATA_107"};
inline constexpr MessageType kFirmwareTransfer{110, 254, 84,
                                               "FIRMWARE_TRANSFER"};  // also a media notice
inline constexpr MessageType kClock{111, 12, 34, "CLOCK"};
inline constexpr MessageType kIgnored120{120, 0, 134, "IGNORED_120"};
inline constexpr MessageType kAltitude{141, 4, 148, "ALTITUDE"};
inline constexpr MessageType kMediaFile{142, 243, 72, "MEDIA_FILE"};

inline constexpr const MessageType* kMessageTypes[] = {
    &kHeartbeat,        &kParameterListRequest,
    &kParameterValue,   &kPosition,
    &kLocalPosition,    &kServoOutputs,
    &kCameraAck,        &kSdQuery,
    &kSdReport,         &kLinkConfiguration,
    &kDataStream,       &kCommandLong,
    &kCommandAck,       &kFlightData90,
    &kGimbalData,       &kFlightData107,
    &kFirmwareTransfer, &kClock,
    &kIgnored120,       &kAltitude,
    &kMediaFile,
};

// As the finalisers of mavlink_frame.h, for a frame of that type: set msgid, too.
inline int finalize_peer(MavlinkMessage* message, const MessageType& type) {
  message->msgid = type.id;
  return mavlink_frame_finalize_peer(message, type.length, type.crc_extra);
}
inline int finalize_app(MavlinkMessage* message, const MessageType& type) {
  message->msgid = type.id;
  return mavlink_frame_finalize_app(message, type.length, type.crc_extra);
}
inline int finalize(MavlinkMessage* message, uint8_t sysid, const MessageType& type) {
  message->msgid = type.id;
  return mavlink_frame_finalize(message, sysid, type.length, type.crc_extra);
}
inline int seal(MavlinkMessage* message, uint8_t sysid, uint8_t seq, const MessageType& type,
                uint8_t compid = 0) {
  message->msgid = type.id;
  return mavlink_frame_seal(message, sysid, seq, type.length, type.crc_extra, compid);
}

}  // namespace flightlink
