// The checksum of a MAVLink frame: CRC-16/MCRF4XX over the header behind the start byte, the payload
// and the CRC extra byte of the message id.
#pragma once

#include <cstdint>

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

inline constexpr uint16_t kChecksumStart = 0xFFFF;

// Of a frame whose header and `len` payload bytes are filled in.
[[nodiscard]] uint16_t frame_checksum(const MavlinkMessage& frame, uint8_t crc_extra);

}  // namespace flightlink
