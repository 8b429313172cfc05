#include "flightlink/firmware/update.h"

#include "flightlink/firmware/boards.h"
#include "flightlink/firmware/push.h"
#include "flightlink/firmware/receive.h"
#include "flightlink/firmware/wire.h"
#include "flightlink/frame/payload.h"

namespace flightlink {

int firmware_message(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  if (firmware_board_type() != kBoardCamera) return 0;
  const Payload payload(*message);
  const uint8_t length = payload.bytes[1];
  const uint8_t board = payload.bytes[2];
  const uint8_t* data = payload.bytes + 3;
  switch (payload.bytes[0]) {
    case kOpcodeChunk:
      return firmware_chunk(length, data);
    case kOpcodeStart:
      return firmware_start({data, kFirmwareData}, board);
    default:
      return 0;
  }
}

int firmware_command(const CommandLong& command, uint8_t sysid) {
  const auto sender = static_cast<uint8_t>(sysid >> 4);
  const uint8_t type = firmware_board_type();
  if (type == kBoardCamera && sender == kBoardApplication) {
    return command.target_system == kFirmwareAnnounced
               ? firmware_announced(command.param[0], sender)
               : 0;
  }
  return sender == type ? firmware_push_report(command) : 0;
}

}  // namespace flightlink
