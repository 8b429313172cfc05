#include "groundstation/fake_camera.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/bytes.h"
#include "base/clock.h"
#include "support/loopback.h"
#include "support/patience.h"

namespace groundstation_test {
namespace {

using flightlink::MavlinkMessage;
using Payload = std::vector<uint8_t>;

// Where the status record shows a setting; 0 bits: nowhere.
struct SettingRow {
  uint8_t sub, subject, offset, shift, bits;
};
constexpr SettingRow kSettingRows[] = {
    {1, 1, 0, 0, 0},     {2, 2, 0, 0, 4},     {3, 3, 0, 4, 4},     {4, 0, 0, 0, 0},
    {5, 5, 0, 8, 4},     {6, 6, 4, 0, 16},    {7, 7, 4, 16, 16},   {8, 8, 0, 12, 4},
    {9, 9, 0, 0, 0},     {11, 11, 16, 0, 8},  {12, 12, 16, 8, 8},  {13, 13, 16, 16, 8},
    {15, 15, 16, 29, 1}, {17, 17, 16, 24, 5}, {18, 18, 16, 30, 1}, {19, 19, 20, 0, 6},
    {20, 20, 20, 7, 1},  {21, 21, 20, 8, 1},
};

Payload fresh_status() {
  Payload payload(33);
  payload[0] = 0x04;  // 1920x1080 30P
  base::store_f32le(payload.data() + 8, 1000.0F);
  base::store_f32le(payload.data() + 12, 500.0F);
  payload[28] = 2;
  return payload;
}

}  // namespace

uint16_t free_port() {
  uint16_t port = 0;
  const base::Descriptor fd = support::open_loopback(&port);
  return port;
}

FakeCamera::FakeCamera(const CameraScript& script) : script_(script), status_(fresh_status()) {
  start(run, this);
}

FakeCamera::~FakeCamera() { stop(); }

// What arrived before two turns began has been handled when they are over, if nothing is left then.
void FakeCamera::catch_up() const {
  const auto pass_a_turn = [this] {
    const uint64_t before = turns_;
    EXPECT_TRUE(support::poll_until([&] { return turns_ > before + 1; }, support::seconds(20)));
  };
  do {
    pass_a_turn();
  } while (waiting() != 0);
  pass_a_turn();
}

std::vector<MavlinkMessage> FakeCamera::received() {
  catch_up();
  const std::lock_guard lock(mutex_);
  return received_;
}

std::vector<MavlinkMessage> FakeCamera::received(uint8_t msgid) {
  std::vector<MavlinkMessage> all = received();
  std::erase_if(all, [&](const MavlinkMessage& message) { return message.msgid != msgid; });
  return all;
}

// Owns everything but what the accessors read.
void* FakeCamera::run(void* self) {
  auto* camera = static_cast<FakeCamera*>(self);
  while (!camera->stopping()) camera->turn();
  return nullptr;
}

void FakeCamera::turn() {
  turns_++;
  if (const auto frames = receive(2)) {
    for (const MavlinkMessage& message : *frames) handle(message);
  }
  const uint64_t now = base::monotonic_us();
  if (has_peer() && now >= next_regular_us_) {
    next_regular_us_ = now + 50'000;
    send_regular();
  }
  if (stream_on_ && link_status_ == 2 && !script_.live.empty() && now >= next_live_us_) {
    next_live_us_ = now + 5'000;
    send_live();
  }
}

void FakeCamera::handle(const MavlinkMessage& message) {
  {
    const std::lock_guard lock(mutex_);
    received_.push_back(message);
  }
  if (message.msgid == 0) link_status_ = message.payload[7] & 15;
  if (message.msgid == 67) stream_on_ = message.payload[3] != 0;
  if (message.msgid == 76) command(message);
  if (message.msgid == 21) list_parameters();
  if (message.msgid == 111) send(52, 36, {0, 0, 111, script_.result, 0, 0, 0});
  if (message.msgid == 56 && script_.ready) {
    Payload payload(11);
    base::store_f32le(payload.data(), 1000.0F);
    base::store_f32le(payload.data() + 4, 500.0F);
    send(57, 36, payload);
  }
}

void FakeCamera::command(const MavlinkMessage& message) {
  if (script_.lose_commands > 0) {
    script_.lose_commands--;
    return;
  }
  if (!script_.ready) return;
  const uint16_t command = base::load_u16le(message.payload + 28);
  if (command == 203 && base::load_f32le(message.payload + 24) == 1.0F) photo();
  if (command == 180 && message.payload[31] == 16) timelapse(message.payload[32]);
  if (command == 180) {
    setting(message.payload[31], base::saturate<uint32_t>(base::load_f32le(message.payload)));
  }
  if (command == 2) action(base::saturate<int>(base::load_f32le(message.payload)));
}

void FakeCamera::action(int action) {
  if (action == 0) switch_mode(0);
  if (action == 1) photo();
  if (action == 2) switch_mode(1);
  if (action == 3 && script_.mode == 1 && !script_.recording) record(true);
  if (action == 4 && script_.recording) record(false);
}

void FakeCamera::setting(uint8_t sub, uint32_t value) {
  if (sub == script_.refused_setting) return;
  for (const SettingRow& row : kSettingRows) {
    if (row.sub != sub) continue;
    const uint32_t mask = (1U << row.bits) - 1;
    uint8_t* word = status_.data() + row.offset;
    if (script_.result == 0) {
      base::store_u32le(
          word, (base::load_u32le(word) & ~(mask << row.shift)) | ((value & mask) << row.shift));
    }
    const uint32_t shown = (row.subject == 0 ? 0 : value) + (script_.other_value ? 1 : 0);
    const bool lost = script_.lose_acks > 0;
    if (lost) script_.lose_acks--;
    send(52, 36, {0, row.subject, 76, 180, script_.result, static_cast<uint8_t>(shown), 0}, lost);
  }
}

void FakeCamera::timelapse(uint8_t confirmation) {
  const bool start = confirmation == 0;
  status_[3] = start ? 1 : 0;
  if (start) acknowledge(2500);
  Payload payload(33);
  base::store_f32le(payload.data(), 11.0F);
  base::store_f32le(payload.data() + 4, start ? 0.0F : 2.0F);
  payload[28] = 2;
  payload[30] = 100;
  send(76, 35, payload);
}

void FakeCamera::list_parameters() {
  uint16_t index = 0;
  for (const auto& [name, value] : script_.parameters) {
    Payload payload(55);
    base::store_u16le(payload.data() + 4, static_cast<uint16_t>(script_.parameters.size()));
    base::store_u16le(payload.data() + 6, ++index);
    std::copy(name.begin(), name.end(), payload.begin() + 8);
    std::copy(value.begin(), value.end(), payload.begin() + 24);
    payload[54] = 11;
    const bool lost = script_.lose_parameters > 0;
    if (lost) script_.lose_parameters--;
    send(22, 36, payload, lost);
  }
}

void FakeCamera::photo() {
  if (script_.mode != 0 || script_.recording) return;
  photos_++;
  if (script_.result == 0 && script_.on_new_file) script_.on_new_file();
  acknowledge(2001);
  if (script_.result == 0) report(1);
}

void FakeCamera::switch_mode(uint8_t mode) {
  if (script_.result == 0) script_.mode = mode;
  send(52, 36, {0, 10, 76, 180, script_.result, script_.mode, 0});
}

void FakeCamera::record(bool on) {
  if (script_.result == 0) script_.recording = on;
  if (script_.result == 0 && !on && script_.on_new_file) script_.on_new_file();
  acknowledge(on ? 2500 : 2501);
  if (script_.result == 0) report(on ? 3 : 4);
}

void FakeCamera::acknowledge(uint16_t command) {
  const bool lost = script_.lose_acks > 0;
  if (lost) script_.lose_acks--;
  send(77, 36, {static_cast<uint8_t>(command), static_cast<uint8_t>(command >> 8), script_.result},
       lost);
}

void FakeCamera::report(float code) {
  Payload payload(33);
  base::store_f32le(payload.data(), code);
  base::store_u16le(payload.data() + 28, 2);
  payload[30] = 100;
  send(76, 35, payload, script_.lose_reports);
}

void FakeCamera::send_regular() {
  if (script_.noise) {
    const uint8_t noise[] = {0xFE, 0xFF, 0xFE, 9, 0, 37, 0, 0, 1, 2, 0xFE};
    send_to_peer(noise);
    send(52, 36, {0, 10});
    send(77, 36, {0xD1});
    send(76, 36, {});
    send(99, 36, Payload(255, 0xFE));
  }
  if (script_.heartbeats) {
    const auto bits = static_cast<uint8_t>((stream_on_ ? 1 : 0) | (script_.recording ? 4 : 0));
    send(0, 37, {0, 0, 0, 0, 0, 0, 0, bits, 3});
  }
  if (script_.unasked_report != 0) report(static_cast<float>(script_.unasked_report));
  if (script_.status) {
    Payload payload = status_;
    payload[2] = static_cast<uint8_t>(payload[2] | script_.mode);
    if (script_.raw) payload[19] |= 0x20;
    send(76, 36, payload);
  }
}

void FakeCamera::send_live() {
  for (; script_.live_count > 0; script_.live_count--) {
    send_to_peer(script_.live[next_piece_++ % script_.live.size()], script_.live_port);
  }
  if (script_.live_count == 0) return;
  const std::vector<uint8_t>& piece = script_.live[next_piece_++ % script_.live.size()];
  send_to_peer(piece, script_.live_port);
}

void FakeCamera::send(uint8_t msgid, uint8_t sysid, const Payload& payload, bool lost) {
  MavlinkMessage message{};
  message.msgid = msgid;
  std::copy(payload.begin(), payload.end(), message.payload);
  flightlink::mavlink_frame_seal(&message, sysid, sequences_[sysid]++,
                                 static_cast<uint8_t>(payload.size()),
                                 flightlink::mavlink_crc_extra(msgid));
  if (lost) return;
  uint8_t wire[flightlink::kMavlinkMaxFrame];
  const uint16_t size = flightlink::mavlink_frame_to_buffer(wire, &message);
  send_to_peer({wire, size});
}

}  // namespace groundstation_test
