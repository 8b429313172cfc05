// COMMAND_LONG, as received.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "flightlink/frame/payload.h"

namespace flightlink {

// Message 76, 33 bytes: param1 to param7 f32 at 0 to 24, u16 command at 28, target_system at 30,
// target_component at 31, confirmation at 32.
struct CommandLong {
  float param[7];  // param[0] is param1
  uint16_t command;
  uint8_t target_system;
  uint8_t target_component;
  uint8_t confirmation;
};

[[nodiscard]] inline CommandLong read_command_long(const Payload& payload) {
  CommandLong command{};
  for (size_t i = 0; i < 7; i++) command.param[i] = base::load_f32le(payload.bytes + 4 * i);
  command.command = base::load_u16le(payload.bytes + 28);
  command.target_system = payload.bytes[30];
  command.target_component = payload.bytes[31];
  command.confirmation = payload.bytes[32];
  return command;
}

// A float parameter as an integer: truncated toward zero, saturated.
[[nodiscard]] inline int32_t parameter(float value) { return base::saturate<int32_t>(value); }

}  // namespace flightlink
