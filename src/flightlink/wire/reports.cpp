#include "flightlink/wire/reports.h"

#include <algorithm>
#include <atomic>

#include "base/bytes.h"
#include "flightlink/frame/messages.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
namespace {

// Messages to the flight controller have a sequence of their own, apart from the three finalisers'.
std::atomic<uint8_t> flight_sequence;

int send_to_application(MavlinkMessage& message, const MessageType& type) {
  finalize_app(&message, type);
  return peer_udp_send(&message);
}

int send_to_flight_controller(MavlinkMessage& message, const MessageType& type) {
  const uint8_t seq = flight_sequence.fetch_add(1, std::memory_order_relaxed);
  seal(&message, kSystemFlightController, seq, type);
  return peer_udp_send(&message);
}

void fill_command_ack(MavlinkMessage& message, uint16_t command, uint8_t result) {
  base::store_u16le(message.payload, command);
  message.payload[2] = result;
}

void fill_flight_command(MavlinkMessage& message, int code, uint16_t command = 2) {
  base::store_f32le(message.payload, static_cast<float>(code));
  base::store_u16le(message.payload + 28, command);
  message.payload[30] = 100;
}

}  // namespace

int report_camera_ack(uint8_t subject, uint8_t result, uint8_t value) {
  MavlinkMessage message{};
  message.payload[1] = subject;
  message.payload[2] = kCommandLong.id;
  message.payload[3] = 180;
  message.payload[4] = result;
  message.payload[5] = value;
  return send_to_application(message, kCameraAck);
}

int report_clock(uint8_t result) {
  MavlinkMessage message{};
  message.payload[2] = kClock.id;
  message.payload[3] = result;
  return send_to_application(message, kCameraAck);
}

int report_sd(float total_mb, float free_mb, uint8_t code) {
  MavlinkMessage message{};
  base::store_f32le(message.payload, total_mb);
  base::store_f32le(message.payload + 4, free_mb);
  message.payload[10] = code;
  return send_to_application(message, kSdReport);
}

int report_status_record(const uint8_t (&record)[kStatusRecordSize]) {
  MavlinkMessage message{};
  std::copy_n(record, kCommandLong.length, message.payload);
  return send_to_application(message, kCommandLong);
}

int report_record_tick(uint32_t seconds) {
  MavlinkMessage message{};
  base::store_f32le(message.payload, static_cast<float>(seconds));
  base::store_u16le(message.payload + 28, 202);
  message.payload[31] = 3;
  return send_to_application(message, kCommandLong);
}

int report_remux() {
  MavlinkMessage message{};
  base::store_f32le(message.payload, 10);
  base::store_u16le(message.payload + 28, 2);
  return send_to_application(message, kCommandLong);
}

int report_command_ack(uint16_t command, uint8_t result) {
  MavlinkMessage message{};
  fill_command_ack(message, command, result);
  return send_to_application(message, kCommandAck);
}

int report_command_ack_flight(uint16_t command, uint8_t result) {
  MavlinkMessage message{};
  fill_command_ack(message, command, result);
  return send_to_flight_controller(message, kCommandAck);
}

int report_camera(int code) {
  MavlinkMessage message{};
  fill_flight_command(message, code);
  return send_to_flight_controller(message, kCommandLong);
}

int report_command_520() {
  MavlinkMessage message{};
  fill_flight_command(message, 1, 520);
  return send_to_flight_controller(message, kCommandLong);
}

int report_timelapse(int state, const TimelapseParameters& parameters) {
  MavlinkMessage message{};
  fill_flight_command(message, 11);
  base::store_f32le(message.payload + 4, static_cast<float>(state));
  base::store_f32le(message.payload + 8, static_cast<float>(parameters.count));
  for (size_t i = 0; i < 4; i++) {
    base::store_f32le(message.payload + 12 + 4 * i, parameters.values[i]);
  }
  return send_to_flight_controller(message, kCommandLong);
}

}  // namespace flightlink
