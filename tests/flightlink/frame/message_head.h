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

}  // namespace flightlink
