// Firmware on the wire: message 110 and COMMAND_LONG 4, as they leave this board. Results are those
// of peer_udp_send; callers ignore them, since everything is repeated or asked for again. Any
// thread.
//
// Message 110, 254 bytes:
//   0: opcode   1: length of the data   2: board byte of the sender   3: data, 251 bytes
// Opcode 2: u32 chunk index, big-endian, and the chunk. Opcode 3: the image's MD5 as 32 lower-case
// hexadecimal characters. Opcode 6: the text "V_factory".
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/bytes.h"
#include "flightlink/frame/firmware_codes.h"

namespace flightlink {

inline constexpr size_t kFirmwareData = 251;
inline constexpr size_t kChunkSize = 240;
inline constexpr size_t kChunkRecord = 4 + kChunkSize;  // behind its index
inline constexpr int64_t kFirmwareMaxSize = 512LL * 1024 * 1024;

// Chunks of an image; the last one holds the remainder.
[[nodiscard]] constexpr uint32_t firmware_chunk_count(uint32_t size) {
  return static_cast<uint32_t>((size + kChunkSize - 1) / kChunkSize);
}

// A chunk's index: the only big-endian field of the link.
[[nodiscard]] inline uint32_t load_chunk_index(const uint8_t* from) {
  return (uint32_t{base::load_u16be(from)} << 16) | base::load_u16be(from + 2);
}
inline void store_chunk_index(uint8_t* to, uint32_t index) {
  base::store_u16be(to, static_cast<uint16_t>(index >> 16));
  base::store_u16be(to + 2, static_cast<uint16_t>(index));
}

inline constexpr size_t kReportSlots = 7;

// Progress report to the application: COMMAND_LONG 4 of system id 36 with up to seven missing
// chunks; slots that are left over hold 4294967296.
int firmware_report(uint8_t state, uint8_t board, uint8_t result,
                    std::span<const uint32_t> missing = {});

// To another board, with system id type or'ed with 0x20. The start command announces the size; a
// message 110 carries at most 251 bytes.
int firmware_send_start(uint8_t type, uint32_t size);
int firmware_send(uint8_t type, uint8_t opcode, std::span<const uint8_t> data);

// Asks the repeater for its version. Nothing in this process waits for the answer.
int firmware_query_version();

}  // namespace flightlink
