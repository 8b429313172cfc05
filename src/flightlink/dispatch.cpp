#include "flightlink/dispatch.h"

#include <cstring>

#include "base/bytes.h"
#include "flightlink/aircraft_position.h"
#include "flightlink/camera_actions.h"
#include "flightlink/link_configuration.h"
#include "flightlink/link_context.h"
#include "flightlink/link_status.h"

namespace flightlink {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

// A HEARTBEAT with these two values announces the peer only, and says nothing about its wishes.
constexpr uint32_t kAnnouncingMode = 0xF503;
constexpr uint8_t kAnnouncingStatus = 95;

enum Command : uint16_t {
  kCommandCameraAction = 2,
  kCommandDigicam = 203,
};

// Of COMMAND_LONG 203: link-quality control, not a digicam command.
constexpr uint8_t kLinkQualityComponent = 14;

struct Payload {
  explicit Payload(const MavlinkMessage& message) {
    std::memcpy(bytes, message.payload, message.len);
    std::memset(bytes + message.len, 0, sizeof(bytes) - message.len);
  }
  uint8_t bytes[256];
};

int heartbeat(const Payload& payload) {
  const uint32_t custom_mode = base::load_u32le(payload.bytes);
  const uint8_t system_status = payload.bytes[7];
  if (custom_mode != kAnnouncingMode || system_status != kAnnouncingStatus) {
    mavlink_context.peer_nibble.store(system_status >> 4, kRelaxed);
    set_link_status(system_status & 15);
  }
  return link_configuration_push();
}

CommandLong read_command_long(const Payload& payload) {
  CommandLong command{};
  for (size_t i = 0; i < 7; i++) command.param[i] = base::load_f32le(payload.bytes + 4 * i);
  command.command = base::load_u16le(payload.bytes + 28);
  command.target_system = payload.bytes[30];
  command.target_component = payload.bytes[31];
  command.confirmation = payload.bytes[32];
  return command;
}

int command_long(const Payload& payload) {
  const CommandLong command = read_command_long(payload);
  switch (command.command) {
    case kCommandCameraAction:
      return camera_action_command(command);
    case kCommandDigicam:
      return command.target_component == kLinkQualityComponent ? 0 : digicam_control(command);
    default:
      return 0;
  }
}

int position_24(const Payload& payload) {
  store_latitude(static_cast<int32_t>(base::load_u32le(payload.bytes + 8)));
  store_longitude(static_cast<int32_t>(base::load_u32le(payload.bytes + 12)));
  return 0;
}

int altitude_32(const Payload& payload) {
  store_altitude_from_32(base::saturate<int32_t>(base::load_f32le(payload.bytes + 4)));
  return 0;
}

int stream_67(const Payload& payload) {
  set_stream_on(payload.bytes[3] != 0 ? 1 : 0);
  return 0;
}

int altitude_141(const Payload& payload) {
  store_altitude_from_141(base::saturate<int32_t>(base::load_f32le(payload.bytes) * 10));
  return 0;
}

struct MessageRow {
  uint8_t msgid;
  int (*handle)(const Payload& payload);
};

constexpr MessageRow kPeerMessages[] = {
    {0, heartbeat},
};

constexpr MessageRow kCommonMessages[] = {
    {24, position_24}, {32, altitude_32}, {67, stream_67}, {76, command_long}, {141, altitude_141},
};

template <size_t Rows>
const MessageRow* find(const MessageRow (&table)[Rows], uint8_t msgid) {
  for (const MessageRow& row : table) {
    if (row.msgid == msgid) return &row;
  }
  return nullptr;
}

}  // namespace

int peer_dispatch(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  const MessageRow* row = find(kPeerMessages, message->msgid);
  return row != nullptr ? row->handle(Payload(*message)) : common_dispatch(message);
}

int common_dispatch(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  const MessageRow* row = find(kCommonMessages, message->msgid);
  return row != nullptr ? row->handle(Payload(*message)) : 0;
}

}  // namespace flightlink
