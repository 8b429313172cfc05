// The two messages that carry firmware between the camera, the application and the other boards.
//
//   id  len  payload
//   76   33  COMMAND_LONG 4: seven f32 @0 (size, or missing chunk indices; empty 4294967296.0),
//            u16 4 @28, state @30, board @31, result @32
//  110  254  opcode @0 (2 chunk, 3 start, 6 version query), data length @1, sender's board @2,
//            data @3; a chunk's data is its u32 index, big-endian, and up to 240 bytes
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "flightlink/frame/firmware_codes.h"
#include "flightlink/frame/mavlink_frame.h"
#include "groundstation/messages/peer_messages.h"

namespace groundstation {

inline constexpr size_t kFirmwareChunk = 240;
inline constexpr size_t kFirmwareSlots = 7;
inline constexpr size_t kFirmwareMostBytes = size_t{512} << 20;
inline constexpr size_t kFirmwareMd5 = 32;  // hexadecimal characters
inline constexpr float kFirmwareEmptySlot = 4294967296.0F;

using enum flightlink::BoardType;
using enum flightlink::FirmwareState;
using enum flightlink::FirmwareResult;
using enum flightlink::FirmwareOpcode;
using flightlink::FirmwareOpcode;
using flightlink::FirmwareResult;
using flightlink::FirmwareState;

struct FirmwareReport {
  uint8_t state;
  uint8_t board;
  uint8_t result;
  std::array<float, kFirmwareSlots> slots;  // slot 0 of an announcement: the size
};

// What a frame 110 carries; `data` has as many bytes as it claims, zeros where the frame ended.
struct FirmwareData {
  uint8_t opcode;
  uint8_t board;
  uint8_t length;
  std::array<uint8_t, 255> data;

  // Of a chunk. No bytes when the length is out of range.
  [[nodiscard]] uint32_t index() const;
  [[nodiscard]] std::span<const uint8_t> chunk() const;
};

[[nodiscard]] std::array<float, kFirmwareSlots> empty_firmware_slots();
[[nodiscard]] PeerMessage firmware_report_message(const FirmwareReport& report);
[[nodiscard]] PeerMessage firmware_announcement(size_t bytes);
// `bytes`: at most kFirmwareChunk.
[[nodiscard]] PeerMessage firmware_chunk_message(uint32_t index, std::span<const uint8_t> bytes);
[[nodiscard]] PeerMessage firmware_start_message(std::string_view md5);

// Nothing for other messages.
[[nodiscard]] std::optional<FirmwareReport> firmware_report_of(
    const flightlink::MavlinkMessage& frame);
[[nodiscard]] std::optional<FirmwareData> firmware_data_of(const flightlink::MavlinkMessage& frame);

// How many chunks an image has.
[[nodiscard]] constexpr size_t firmware_chunks(size_t bytes) {
  return (bytes + kFirmwareChunk - 1) / kFirmwareChunk;
}
// The bytes of one chunk; none beyond the image.
[[nodiscard]] std::span<const uint8_t> firmware_chunk_of(std::span<const uint8_t> image,
                                                         size_t index);

}  // namespace groundstation
