// A walk over all settings on the peer link, each command sent once: how many acknowledgements
// came, and how long they took. Runs in a virtual board, with the stand-in for the camera service.
#include <chrono>
#include <cstdio>

#include "quantiles.h"
#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

struct Row {
  uint8_t sub;  // target component of command 180
  float value;
  uint8_t subject;  // of the acknowledgement
};

std::vector<Row> all_settings() {
  std::vector<Row> rows{
      {2, 5, 2},   {2, 4, 2},   {3, 1, 3},    {3, 0, 3},    {4, 1, 0},   {4, 0, 0},    {5, 1, 5},
      {5, 0, 5},   {6, 400, 6}, {6, 0, 6},    {7, 5000, 7}, {7, 0, 7},   {8, 2, 8},    {8, 1, 8},
      {8, 0, 8},   {18, 1, 18}, {19, 10, 19}, {18, 0, 18},  {8, 1, 8},   {11, 70, 11}, {12, 61, 12},
      {13, 7, 13}, {15, 1, 15}, {15, 0, 15},  {20, 1, 20},  {20, 0, 20}, {21, 1, 21},  {21, 0, 21}};
  for (int shutter = 0; shutter <= 30; shutter++) {
    rows.push_back({17, static_cast<float>(shutter), 17});
  }
  return rows;
}

}  // namespace

int main() {
  const RunningCameraService camera;
  const RunningMaintask maintask;
  PeerLink peer;
  PeerSocket video{8856};
  wait_for_live_video(peer, video);
  // Settings are for a camera that knows its card and is in video mode.
  peer.wait_for_status([](const Frame& frame) { return frame.f32(12) > 0; }, seconds(15),
                       peer.mark());
  peer.send(command_long({.command = 2, .param1 = 2}));
  peer.wait_for_status([](const Frame& frame) { return (frame.u32(0) >> 16 & 15) == 1; },
                       seconds(10), peer.mark());
  let_pass(seconds(1));

  std::vector<double> times;
  int lost = 0;
  for (const Row& row : all_settings()) {
    const size_t mark = peer.mark();
    const Time sent = Clock::now();
    peer.send(command_long({.command = 180, .param1 = row.value, .target_component = row.sub}));
    const auto acknowledgement = peer.wait_for(
        [&](const Frame& frame) {
          return frame.id == 52 && frame.u8(1) == row.subject && frame.u8(3) == 180 &&
                 frame.u8(4) == 0;
        },
        seconds(6), mark);
    if (acknowledgement) {
      times.push_back(
          std::chrono::duration<double, std::milli>(acknowledgement->arrived - sent).count());
    } else {
      std::printf("no acknowledgement of setting %d, value %g\n", row.sub,
                  static_cast<double>(row.value));
      lost++;
    }
    // What follows an acknowledgement in the camera; a resolution starts the preview again.
    let_pass(row.sub == 2 ? milliseconds(2000) : milliseconds(50));
  }
  bench::show({.name = "settings walk, acknowledgements lost",
               .ours = static_cast<double>(lost),
               .reference_name = "limit",
               .goal = bench::more_at_most(0),
               .note = "of " + std::to_string(times.size() + static_cast<size_t>(lost))});
  // The slowest is a resolution: the preview stops and starts for it.
  bench::show_times("setting to its acknowledgement", times, 5000);
}
