// Flight data for the camera's logs, as a text file: one message per line,
//
//   105,TIME,F1,...,F13,VALUE   gimbal: TIME 0 to 2^64-1, VALUE 0 to 65535
//   107,TIME,F1,...,F13,VALUE   flight controller: VALUE -2147483648 to 2147483647
//   90[,TIME]                   flight data that the camera does not log
//
// Spaces around a field, empty lines and lines that begin with "#" are skipped. Behind the first
// field a line is what the camera writes into its log.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "groundstation/messages/peer_messages.h"

namespace groundstation {

struct TelemetryFile {
  std::vector<Telemetry> messages;
  std::string error;  // not empty: "line 3: ..."
};

[[nodiscard]] TelemetryFile read_telemetry(std::istream& input);

}  // namespace groundstation
