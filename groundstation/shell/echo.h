// What a command of the shell makes the camera report: the one who gave it knows already.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "groundstation/messages/camera_messages.h"

namespace groundstation {

// Remembers the commands of the last seconds. Monotonic microseconds.
class OwnCommands {
 public:
  // The command of this path ("record start") begins, and ends.
  void begin(const std::string& path);
  void end(uint64_t now_us);

  // Whether the event only says what the running command, or one that has just ended, has done.
  [[nodiscard]] bool explain(const CameraEvent& event, uint64_t now_us) const;

 private:
  struct Given {
    std::string path;
    uint64_t until_us;  // of its reports
  };
  std::vector<Given> given_;  // the newest last
};

}  // namespace groundstation
