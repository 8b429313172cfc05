// The numbers of the two messages that carry firmware, for both ends of the link.
#pragma once

#include <cstdint>

namespace flightlink {

// Boards, as the upper four bits of a system id name them.
enum BoardType : uint8_t {
  kBoardFlightController = 3,
  kBoardApplication = 4,  // no board: the high nibble of the application's system id
  kBoardRepeater = 5,
  kBoardGimbal = 7,
  kBoardCamera = 8,  // the one that flies the camera
};

// Of message 110.
enum FirmwareOpcode : uint8_t { kOpcodeChunk = 2, kOpcodeStart = 3, kOpcodeVersion = 6 };

// target_system of COMMAND_LONG 4.
enum FirmwareState : uint8_t {
  kFirmwareAnnounced = 1,
  kFirmwareRequesting = 2,
  kFirmwareFinished = 3,
  kFirmwareAborted = 5,
};

// confirmation of COMMAND_LONG 4.
enum FirmwareResult : uint8_t { kFirmwareOk = 0, kFirmwareFailed = 3, kFirmwareBusy = 4 };

}  // namespace flightlink
