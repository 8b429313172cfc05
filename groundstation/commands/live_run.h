// One run of the live command.
#pragma once

#include <cstdint>
#include <string>

#include "groundstation/commands/registry.h"
#include "groundstation/live/receiver.h"

namespace groundstation {

struct LiveRequest {
  double seconds = 0;  // 0: until interrupted
  std::string file;    // empty: only the figures; "-": standard output
  uint16_t port = kLivePort;
  double interval_s = 0;  // between figures; 0: a line a second, and none in JSON
  bool play = false;
  bool force = false;
  bool quiet = false;
};

// Receives, writes and shows until the time is up, a signal comes or the player is closed; switches
// the stream off and tells the figures. Only pictures up to the end count as done: a stream that
// stands still then has failed.
ExitCode run_live(Session& session, const LiveRequest& request);

}  // namespace groundstation
