#include "flightlink/firmware/wire.h"

#include <algorithm>
#include <string_view>

#include "base/bytes.h"
#include "flightlink/firmware/boards.h"
#include "flightlink/frame/messages.h"
#include "flightlink/wire/link_context.h"

namespace flightlink {
namespace {

constexpr uint8_t kSystemOther = 0x20;
constexpr float kEmptySlot = 4294967296.0F;  // no chunk has this index
constexpr std::string_view kVersionText = "V_factory";

uint8_t system_of(uint8_t type) { return static_cast<uint8_t>(type | kSystemOther); }

}  // namespace

int firmware_report(uint8_t state, uint8_t board, uint8_t result,
                    std::span<const uint32_t> missing) {
  MavlinkMessage message{};
  for (size_t i = 0; i < kReportSlots; i++) {
    const float slot = i < missing.size() ? static_cast<float>(missing[i]) : kEmptySlot;
    base::store_f32le(message.payload + 4 * i, slot);
  }
  base::store_u16le(message.payload + 28, kCommandFirmware);
  message.payload[30] = state;
  message.payload[31] = board;
  message.payload[32] = result;
  finalize_app(&message, kCommandLong);
  return peer_udp_send(&message);
}

int firmware_send_start(uint8_t type, uint32_t size) {
  MavlinkMessage message{};
  base::store_f32le(message.payload, static_cast<float>(size));
  base::store_u16le(message.payload + 28, kCommandFirmware);
  message.payload[30] = kFirmwareAnnounced;
  finalize(&message, system_of(type), kCommandLong);
  return peer_udp_send(&message);
}

int firmware_send(uint8_t type, uint8_t opcode, std::span<const uint8_t> data) {
  MavlinkMessage message{};
  const size_t length = std::min(data.size(), kFirmwareData);
  message.payload[0] = opcode;
  message.payload[1] = static_cast<uint8_t>(length);
  message.payload[2] = kBoardCamera;
  std::copy_n(data.begin(), length, message.payload + 3);
  finalize(&message, system_of(type), kFirmwareTransfer);
  return peer_udp_send(&message);
}

int firmware_query_version() {
  const auto* text = reinterpret_cast<const uint8_t*>(kVersionText.data());
  return firmware_send(kBoardRepeater, kOpcodeVersion, {text, kVersionText.size()});
}

}  // namespace flightlink
