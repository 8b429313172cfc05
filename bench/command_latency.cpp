// From a peer's photo command (its datagram) to the JSON text on the camera service's socket. Runs
// in a virtual board.
#include <chrono>
#include <cstdio>

#include "quantiles.h"
#include "support/fixtures.h"

int main() {
  constexpr int kPhotos = 500;
  constexpr double kLimitMs = 2.0;
  support::ScriptedBoard board;
  std::vector<double> times;
  for (int i = 0; i < kPhotos; i++) {
    const size_t text_mark = board.camera.mark();
    const size_t frame_mark = board.peer.mark();
    const support::Time sent = support::Clock::now();
    board.peer.send(support::command_long({.command = 2, .param1 = 1}));
    const auto text = board.camera.wait_for("\"msg_id\":769", std::chrono::seconds(2), text_mark);
    if (!text) {
      std::printf("photo %d never reached the camera service\n", i);
      return 1;
    }
    times.push_back(std::chrono::duration<double, std::milli>(text->arrived - sent).count());
    // Without a file name there is nothing to tag; the report tells that the camera is ready again.
    board.camera.send("{\"rval\":0,\"msg_id\":769}");
    board.peer.wait_for_report(1, std::chrono::seconds(2), frame_mark);
  }
  bench::show_times("photo command to JSON text", times, kLimitMs);
}
