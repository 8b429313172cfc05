// What `firmware send` and `firmware serve` are asked for.
#pragma once

#include <cstdint>
#include <string>

#include "groundstation/commands/registry.h"

namespace groundstation {

struct FirmwareSendRequest {
  std::string file;
  bool resume = false;
  uint32_t drop_every = 0;
  bool quiet = false;
};

struct FirmwareServeRequest {
  uint8_t board = 0;  // 0: any
  std::string output;
  bool force = false;
  uint32_t drop_every = 0;
  bool quiet = false;
};

ExitCode send_firmware(Session& session, const FirmwareSendRequest& request);
ExitCode serve_firmware(Session& session, const FirmwareServeRequest& request);

}  // namespace groundstation
