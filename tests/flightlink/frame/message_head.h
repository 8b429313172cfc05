// A message's header as the six bytes of the wire.
#pragma once

#include "flightlink/frame/mavlink_frame.h"
#include "support/fresh_process.h"
#include "support/hex.h"

namespace link_test {

inline Bytes head_of(const flightlink::MavlinkMessage& message) {
  return {message.magic, message.len, message.seq, message.sysid, message.compid, message.msgid};
}

}  // namespace link_test

namespace flightlink {

using link_test::Bytes;
using link_test::head_of;
using link_test::hex;
using link_test::in_fresh_process;
using link_test::zeros;

// Command acknowledgement 2001, sequence 0 and 1.
inline constexpr const char* kFrame0 = "fe 03 00 24 00 4d d1 07 00 85 3d ";
inline constexpr const char* kFrame1 = "fe 03 01 24 00 4d d1 07 00 3a bc ";

}  // namespace flightlink
