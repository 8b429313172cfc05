#include "flightlink/actions/dispatch.h"

#include "base/bytes.h"
#include "base/relaxed.h"
#include "camera/camera_ready.h"
#include "camera/commands.h"
#include "camera/send.h"
#include "flightlink/actions/camera_actions.h"
#include "flightlink/actions/camera_clock.h"
#include "flightlink/actions/flight_log.h"
#include "flightlink/actions/link_configuration.h"
#include "flightlink/actions/link_quality.h"
#include "flightlink/actions/media_message.h"
#include "flightlink/actions/parameter_list.h"
#include "flightlink/actions/setting_control.h"
#include "flightlink/firmware/push.h"
#include "flightlink/firmware/update.h"
#include "flightlink/frame/command_long.h"
#include "flightlink/frame/messages.h"
#include "flightlink/frame/payload.h"
#include "flightlink/wire/aircraft_position.h"
#include "flightlink/wire/link_context.h"
#include "flightlink/wire/link_status.h"
#include "supervisor/state/camera_flags.h"

namespace flightlink {
namespace {

using base::kRelaxed;

// A HEARTBEAT with these two values announces the peer only, and says nothing about its wishes.
constexpr uint32_t kAnnouncingMode = 0xF503;
constexpr uint8_t kAnnouncingStatus = 95;

// Of COMMAND_LONG 203: link-quality control, not a digicam command.
constexpr uint8_t kLinkQualityComponent = 14;

int heartbeat(const MavlinkMessage* message) {
  const Payload payload(*message);
  const uint32_t custom_mode = base::load_u32le(payload.bytes);
  const uint8_t system_status = payload.bytes[7];
  if (custom_mode != kAnnouncingMode || system_status != kAnnouncingStatus) {
    mavlink_context.peer_nibble.store(system_status >> 4, kRelaxed);
    set_link_status(system_status & 15);
  }
  firmware_push_resume();
  return link_configuration_push();
}

int command_long(const MavlinkMessage* message) {
  const CommandLong command = read_command_long(Payload(*message));
  switch (command.command) {
    case kCommandCameraAction:
      return camera_action_command(command);
    case kCommandFirmware:
      return firmware_command(command, message->sysid);
    case kCommandSetting:
      return setting_control(command);
    case kCommandDigicam:
      return command.target_component == kLinkQualityComponent ? link_quality_control(command)
                                                               : digicam_control(command);
    default:
      return 0;
  }
}

int position_24(const MavlinkMessage* message) {
  const Payload payload(*message);
  store_latitude(static_cast<int32_t>(base::load_u32le(payload.bytes + 8)));
  store_longitude(static_cast<int32_t>(base::load_u32le(payload.bytes + 12)));
  return 0;
}

int altitude_32(const MavlinkMessage* message) {
  const Payload payload(*message);
  store_altitude_from_32(base::saturate<int32_t>(base::load_f32le(payload.bytes + 4)));
  return 0;
}

int stream_67(const MavlinkMessage* message) {
  const Payload payload(*message);
  set_stream_on(payload.bytes[3] != 0 ? 1 : 0);
  return 0;
}

int altitude_141(const MavlinkMessage* message) {
  const Payload payload(*message);
  store_altitude_from_141(base::saturate<int32_t>(base::load_f32le(payload.bytes) * 10));
  return 0;
}

int ignored(const MavlinkMessage*) { return 0; }

int parameters_21(const MavlinkMessage*) { return parameter_list_send(); }

// The application wants to know the space on the card.
int sd_query_56(const MavlinkMessage*) {
  if (camera::camera_ready() == 0) return -1;
  supervisor::set_sd_query_pending(1);
  const int32_t result = camera::cam_query_sd();
  if (result == camera::kNotConnected) supervisor::set_sd_query_pending(0);
  return result;
}

struct MessageRow {
  uint8_t msgid;
  int (*handle)(const MavlinkMessage* message);
};

constexpr MessageRow kPeerMessages[] = {
    {kHeartbeat.id, heartbeat},       {kFlightData90.id, flight_log_107_90},
    {kGimbalData.id, flight_log_105}, {kFlightData107.id, flight_log_107_90},
    {kIgnored120.id, ignored},        {kMediaFile.id, media_file_message},
};

constexpr MessageRow kCommonMessages[] = {
    {kParameterListRequest.id, parameters_21},
    {kPosition.id, position_24},
    {kLocalPosition.id, altitude_32},
    {kSdQuery.id, sd_query_56},
    {kDataStream.id, stream_67},
    {kCommandLong.id, command_long},
    {kFirmwareTransfer.id, firmware_message},
    {kClock.id, set_camera_clock},
    {kAltitude.id, altitude_141},
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
  return row != nullptr ? row->handle(message) : common_dispatch(message);
}

int common_dispatch(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  const MessageRow* row = find(kCommonMessages, message->msgid);
  return row != nullptr ? row->handle(message) : 0;
}

}  // namespace flightlink
