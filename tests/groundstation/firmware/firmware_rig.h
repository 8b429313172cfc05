// Frames for the firmware tests.
#pragma once

#include <algorithm>
#include <vector>

#include "flightlink/frame/mavlink_frame.h"
#include "groundstation/firmware/messages.h"

namespace groundstation {

inline flightlink::MavlinkMessage firmware_frame(uint8_t sysid, const PeerMessage& message) {
  flightlink::MavlinkMessage frame{};
  frame.msgid = message.msgid;
  frame.sysid = sysid;
  frame.len = static_cast<uint8_t>(message.payload.size());
  std::copy(message.payload.begin(), message.payload.end(), frame.payload);
  return frame;
}

// A report of the camera to the application.
inline FirmwareReport firmware_report(uint8_t state, uint8_t result = 0,
                                      const std::vector<float>& slots = {}) {
  FirmwareReport report{state, 4, result, empty_firmware_slots()};
  std::copy(slots.begin(), slots.end(), report.slots.begin());
  return report;
}

}  // namespace groundstation
