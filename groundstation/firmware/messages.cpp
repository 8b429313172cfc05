#include "groundstation/firmware/messages.h"

#include <algorithm>

#include "base/bytes.h"
#include "flightlink/frame/messages.h"

namespace groundstation {
namespace {

using flightlink::kCommandFirmware;
using flightlink::kCommandLong;
using flightlink::kFirmwareTransfer;

constexpr size_t kFirmwareDataAt = 3;

PeerMessage firmware_data_message(FirmwareOpcode opcode, std::span<const uint8_t> data) {
  PeerMessage message{kFirmwareTransfer.id, std::vector<uint8_t>(kFirmwareTransfer.length)};
  message.payload[0] = opcode;
  message.payload[1] = static_cast<uint8_t>(data.size());
  message.payload[2] = kBoardApplication;
  std::copy(data.begin(), data.end(), message.payload.begin() + kFirmwareDataAt);
  return message;
}

}  // namespace

uint32_t FirmwareData::index() const {
  return static_cast<uint32_t>(base::load_u16be(data.data())) << 16 |
         base::load_u16be(data.data() + 2);
}

std::span<const uint8_t> FirmwareData::chunk() const {
  if (length < 4 || length > 4 + kFirmwareChunk) return {};
  return std::span(data).subspan(4, length - 4U);
}

std::array<float, kFirmwareSlots> empty_firmware_slots() {
  std::array<float, kFirmwareSlots> slots{};
  slots.fill(kFirmwareEmptySlot);
  return slots;
}

PeerMessage firmware_report_message(const FirmwareReport& report) {
  PeerMessage message{kCommandLong.id, std::vector<uint8_t>(kCommandLong.length)};
  uint8_t* payload = message.payload.data();
  for (size_t i = 0; i < kFirmwareSlots; i++) base::store_f32le(payload + 4 * i, report.slots[i]);
  base::store_u16le(payload + 28, kCommandFirmware);
  payload[30] = report.state;
  payload[31] = report.board;
  payload[32] = report.result;
  return message;
}

PeerMessage firmware_announcement(size_t bytes) {
  FirmwareReport report{kFirmwareAnnounced, 0, 0, {}};
  report.slots[0] = static_cast<float>(bytes);
  return firmware_report_message(report);
}

PeerMessage firmware_chunk_message(uint32_t index, std::span<const uint8_t> bytes) {
  std::array<uint8_t, 4 + kFirmwareChunk> data{};
  base::store_u16be(data.data(), static_cast<uint16_t>(index >> 16));
  base::store_u16be(data.data() + 2, static_cast<uint16_t>(index));
  const size_t length = std::min(bytes.size(), kFirmwareChunk);
  std::copy_n(bytes.begin(), length, data.begin() + 4);
  return firmware_data_message(kOpcodeChunk, {data.data(), 4 + length});
}

PeerMessage firmware_start_message(std::string_view md5) {
  return firmware_data_message(kOpcodeStart, {reinterpret_cast<const uint8_t*>(md5.data()),
                                              std::min(md5.size(), kFirmwareMd5)});
}

std::optional<FirmwareReport> firmware_report_of(const flightlink::MavlinkMessage& frame) {
  if (frame.msgid != kCommandLong.id || frame.len < kCommandLong.length) return std::nullopt;
  if (base::load_u16le(frame.payload + 28) != kCommandFirmware) return std::nullopt;
  FirmwareReport report{frame.payload[30], frame.payload[31], frame.payload[32], {}};
  for (size_t i = 0; i < kFirmwareSlots; i++) {
    report.slots[i] = base::load_f32le(frame.payload + 4 * i);
  }
  return report;
}

std::optional<FirmwareData> firmware_data_of(const flightlink::MavlinkMessage& frame) {
  if (frame.msgid != kFirmwareTransfer.id || frame.len < kFirmwareDataAt) return std::nullopt;
  FirmwareData data{frame.payload[0], frame.payload[2], frame.payload[1], {}};
  const size_t there = std::min<size_t>(data.length, frame.len - kFirmwareDataAt);
  std::copy_n(frame.payload + kFirmwareDataAt, there, data.data.begin());
  return data;
}

std::span<const uint8_t> firmware_chunk_of(std::span<const uint8_t> image, size_t index) {
  if (index >= firmware_chunks(image.size())) return {};
  const size_t from = index * kFirmwareChunk;
  return image.subspan(from, std::min(kFirmwareChunk, image.size() - from));
}

}  // namespace groundstation
