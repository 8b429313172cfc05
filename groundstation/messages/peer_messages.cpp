#include "groundstation/messages/peer_messages.h"

#include <cmath>

#include "base/bytes.h"
#include "flightlink/frame/messages.h"

namespace groundstation {
namespace {

using flightlink::kCommandCameraAction;
using flightlink::kCommandDigicam;
using flightlink::kCommandSetting;

constexpr float kDigicamPhoto = 1;
constexpr uint8_t kSubTimelapse = 16;
constexpr uint8_t kSubLinkQuality = 14;
constexpr uint8_t kTimelapseStop = 2;

using Params = std::array<float, 7>;

PeerMessage command_long(uint16_t command, const Params& params, uint8_t component = 0,
                         uint8_t confirmation = 0) {
  PeerMessage message{flightlink::kCommandLong.id,
                      std::vector<uint8_t>(flightlink::kCommandLong.length)};
  for (size_t i = 0; i < params.size(); i++) {
    base::store_f32le(message.payload.data() + 4 * i, params[i]);
  }
  base::store_u16le(message.payload.data() + 28, command);
  message.payload[31] = component;
  message.payload[32] = confirmation;
  return message;
}

// The camera multiplies by ten and drops the fraction, so the nearest float may come out a tenth of
// a metre too small (0.7 is 6.9999998 tenths). The value goes away from zero until it does not.
float altitude_value(double metres) {
  const double tenths = std::round(metres * 10.0);
  auto value = static_cast<float>(tenths / 10.0);
  while (std::trunc(static_cast<double>(value) * 10.0) != tenths) {
    value = std::nextafter(value, tenths < 0 ? -INFINITY : INFINITY);
  }
  return value;
}

}  // namespace

PeerMessage heartbeat_message(bool wants_live_video, uint8_t link_level) {
  PeerMessage message{0, std::vector<uint8_t>(9)};
  message.payload[7] = static_cast<uint8_t>((link_level << 4) | (wants_live_video ? 2 : 0));
  message.payload[8] = 3;
  return message;
}

PeerMessage action_message(CameraAction action, int value) {
  return command_long(kCommandCameraAction,
                      {static_cast<float>(action), static_cast<float>(value), 0, 0, 0, 0, 0});
}

PeerMessage named_photo_message(int mode, int sequence) {
  // The camera adds one to the fifth parameter.
  return command_long(kCommandDigicam, {0, 0, 0, 0, static_cast<float>(mode - 1),
                                        static_cast<float>(sequence), kDigicamPhoto});
}

PeerMessage setting_message(uint8_t sub, int32_t value) {
  return command_long(kCommandSetting, {static_cast<float>(value), 0, 0, 0, 0, 0, 0}, sub);
}

PeerMessage timelapse_start_message(const Timelapse& timelapse) {
  const auto& v = timelapse.values;
  return command_long(kCommandSetting,
                      {static_cast<float>(timelapse.count), v[0],
                       static_cast<float>(timelapse.interval), 0, v[1], v[2], v[3]},
                      kSubTimelapse);
}

PeerMessage timelapse_stop_message() {
  return command_long(kCommandSetting, {}, kSubTimelapse, kTimelapseStop);
}

PeerMessage link_quality_message(const LinkQuality& quality) {
  Params params{static_cast<float>(quality.sent)};
  for (size_t i = 0; i < quality.losses.size(); i++) {
    params[i + 1] = static_cast<float>(quality.losses[i]);
  }
  params[6] = static_cast<float>(quality.arrived);
  return command_long(kCommandDigicam, params, kSubLinkQuality);
}

PeerMessage telemetry_message(const Telemetry& telemetry) {
  const size_t length = telemetry.msgid == flightlink::kFlightData90.id ? 8
                        : telemetry.msgid == flightlink::kGimbalData.id ? 62
                                                                        : 64;
  PeerMessage message{telemetry.msgid, std::vector<uint8_t>(length)};
  uint8_t* bytes = message.payload.data();
  base::store_u64le(bytes, telemetry.time);
  if (telemetry.msgid == flightlink::kFlightData90.id) return message;
  for (size_t i = 0; i < telemetry.values.size(); i++) {
    base::store_f32le(bytes + 8 + 4 * i, telemetry.values[i]);
  }
  if (telemetry.msgid == flightlink::kGimbalData.id) {
    base::store_u16le(bytes + 60, static_cast<uint16_t>(telemetry.value));
  } else {
    base::store_u32le(bytes + 60, telemetry.value);
  }
  return message;
}

PeerMessage clock_message(uint64_t milliseconds, int32_t hours) {
  PeerMessage message{111, std::vector<uint8_t>(12)};
  base::store_u64le(message.payload.data(), milliseconds);
  base::store_u32le(message.payload.data() + 8, static_cast<uint32_t>(hours));
  return message;
}

PeerMessage parameter_query_message() { return {21, {}}; }

PeerMessage sd_query_message() { return {56, std::vector<uint8_t>(1)}; }

PeerMessage stream_switch_message(bool on) {
  PeerMessage message{67, std::vector<uint8_t>(4)};
  message.payload[3] = on ? 1 : 0;
  return message;
}

int32_t wire_degrees(double degrees) { return base::saturate<int32_t>(std::round(degrees * 1e7)); }

PeerMessage position_message(double latitude, double longitude, double altitude) {
  PeerMessage message{24, std::vector<uint8_t>(30)};
  uint8_t* bytes = message.payload.data();
  base::store_u32le(bytes + 8, static_cast<uint32_t>(wire_degrees(latitude)));
  base::store_u32le(bytes + 12, static_cast<uint32_t>(wire_degrees(longitude)));
  base::store_u32le(bytes + 16,
                    static_cast<uint32_t>(base::saturate<int32_t>(std::round(altitude * 1000.0))));
  for (size_t offset = 20; offset < 28; offset += 2) base::store_u16le(bytes + offset, 0xFFFF);
  bytes[28] = 3;    // a three-dimensional fix
  bytes[29] = 255;  // number of satellites unknown
  return message;
}

PeerMessage altitude_message(double altitude) {
  PeerMessage message{141, std::vector<uint8_t>(4)};
  base::store_f32le(message.payload.data(), altitude_value(altitude));
  return message;
}

}  // namespace groundstation
