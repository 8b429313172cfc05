// What was needed once is given back: the program's memory from photo to photo.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "fifo_log.h"
#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT

// Memory of the process that is no file's, in KB.
int64_t anonymous_kb(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  int64_t kb = 0;
  for (std::string word; status >> word;) {
    if (word == "RssAnon:") status >> kb;
  }
  return kb;
}

// The encoder's ring is memory of the program, too, and all of it is in use from its second turn on.
bool ring_is_in_use() {
  const auto added = last_added_video(read_file(RunningMaintask::kFifoLog), "");
  return added && added->position > 2 * 1048576;
}

// Reported once it is tagged. Asked for again while the camera is not ready.
bool take_photo(PeerLink& peer) {
  const size_t mark = peer.mark();
  return poll_until(
      [&] {
        peer.send(command_long({.command = 2, .param1 = 1}));
        return peer.wait_for_report(1, seconds(2), mark).has_value();
      },
      seconds(20));
}

// Twelve million pixels are a file of 2.5 MB and a buffer of as much.
TEST(Memory, IsTheSameFromPhotoToPhoto) {
  RunningCameraService camera;
  PeerLink peer;
  PeerSocket video(8856);
  RunningMaintask maintask;
  ASSERT_TRUE(wait_for_live_video(peer, video)) << maintask.process().output();
  ASSERT_TRUE(poll_until(ring_is_in_use, seconds(20)));
  std::vector<int64_t> after;
  for (int photo = 0; photo < 6; photo++) {
    ASSERT_TRUE(take_photo(peer)) << maintask.process().output();
    after.push_back(anonymous_kb(maintask.process().pid()));
  }
  const auto [least, most] = std::minmax_element(after.begin(), after.end());
  EXPECT_LE(*most - *least, 1024) << testing::PrintToString(after);
}

}  // namespace
