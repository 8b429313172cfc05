// Live video from the encoder's FIFO to the peer's UDP port 8856.
#include <gtest/gtest.h>

#include <string>

#include "live_video.h"

namespace {

using namespace support;  // NOLINT

constexpr size_t kLargestDatagram = 64512;

// Type of the first slice or parameter set in an Annex B byte string.
bool holds_parameter_sets(const Bytes& bytes) {
  for (size_t i = 0; i + 3 < bytes.size(); i++) {
    if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1) {
      const int type = bytes[i + 3] & 31;
      if (type == 7) return true;
      if (type == 1 || type == 5) return false;
    }
  }
  return false;
}

TEST_F(LiveVideo, DecodesWithoutErrorFromAKeyFrameOn) {
  const auto datagrams = receive(seconds(5));
  std::string stream;
  for (const Datagram& datagram : datagrams) {
    EXPECT_LE(datagram.bytes.size(), kLargestDatagram);
    if (stream.empty() && !holds_parameter_sets(datagram.bytes)) continue;
    stream.append(datagram.bytes.begin(), datagram.bytes.end());
  }
  EXPECT_FALSE(stream.empty());
  // Under a sanitizer a piece may be dropped on the way; then the stream may not be whole.
  if (kSanitized) return;
  write_file("/tmp/live.h264", stream);
  const CommandResult decoded = run_command(
      {"ffmpeg", "-v", "error", "-f", "h264", "-i", "/tmp/live.h264", "-f", "null", "-"});
  EXPECT_EQ(decoded.status, 0);
  EXPECT_EQ(decoded.output, "");
  const CommandResult probed = run_command(
      {"ffprobe", "-v", "error", "-count_frames", "-select_streams", "v", "-show_entries",
       "stream=codec_name,width,height,nb_read_frames", "-of", "csv=p=0", "/tmp/live.h264"});
  ASSERT_TRUE(probed.output.starts_with("h264,1280,720,")) << probed.output;
  // At least one key frame a second and 30 pictures a second: four of the five seconds are there.
  const int frames = std::stoi(probed.output.substr(14));
  EXPECT_GE(frames, 115);
  EXPECT_LE(frames, 160);
}

TEST_F(LiveVideo, LeavesOnlyWhileThePeerAsksForIt) {
  for (const int status : {0, 1, 3, 0xF0, 0x21}) {
    peer->keep_alive(static_cast<uint8_t>(status));
    expect_silence();
  }
  // The high nibble is somebody else's.
  peer->keep_alive(0x32);
  EXPECT_TRUE(flows());
}

TEST_F(LiveVideo, LeavesOnlyWhileTheStreamIsOn) {
  peer->send(stream_on(false));
  expect_silence();
  peer->send(stream_on(true));
  EXPECT_TRUE(flows());
}

TEST_F(LiveVideo, WhatASilentPeerAskedForOutlivesTheLinkReset) {
  peer->fall_silent();
  let_pass(milliseconds(2000));
  EXPECT_TRUE(flows());  // the wish is still known
  // The reset after 4 s of silence closes the link's own socket only; what the peer asked for
  // stands until its next heartbeat.
  let_pass(milliseconds(4000));
  EXPECT_TRUE(flows());
  peer->keep_alive(0);
  expect_silence();
}

TEST_F(LiveVideo, TheReservedHeartbeatChangesNothing) {
  peer->send(heartbeat(95, 0xF503));
  EXPECT_TRUE(flows());
  peer->keep_alive(0);
  expect_silence();
  peer->fall_silent();
  peer->send(heartbeat(95, 0xF503));
  expect_silence();
}

TEST_F(LiveVideo, AnIdleListIsSentFromTheNextPiece) {
  peer->keep_alive(0);
  expect_silence();
  const Time begin = Clock::now();
  peer->keep_alive(2);
  const auto first =
      video->wait_for([](const Datagram&) { return true; }, seconds(5), video->count());
  ASSERT_TRUE(first);
  EXPECT_LE(first->arrived - begin, milliseconds(300) * kSlowdown);
}

TEST_F(LiveVideo, ALargePieceLeavesInThreeDatagrams) {
  const size_t from = video->count();
  RunningMaintask::fifo({"video-size", "150000"});
  // A ring that ends inside the piece would cut it in two first; a second try then finds room.
  bool whole = false;
  for (int tries = 0; tries < 5 && !whole; tries++) {
    let_pass(milliseconds(300) * kSlowdown);
    const auto all = video->received();
    for (size_t i = from; i + 2 < all.size() && !whole; i++) {
      whole = all[i].bytes.size() == 64512 && all[i + 1].bytes.size() == 64512 &&
              all[i + 2].bytes.size() == 20976;
    }
    if (!whole) RunningMaintask::fifo({"video-size", "150000"});
  }
  EXPECT_TRUE(whole);
}

TEST_F(LiveVideo, PiecesLeaveAtMostEveryTenMilliseconds) {
  RunningMaintask::fifo({"rate", "300"});
  let_pass(milliseconds(300));
  auto datagrams = receive(milliseconds(1000));
  RunningMaintask::fifo({"rate", "30"});
  // Ten milliseconds after every piece; a piece may be several datagrams, each but the last full. What
  // arrives within a second may have left in a little more: a busy machine holds datagrams up. That
  // the pause is ten milliseconds, not nine, is seen where sleeps are recorded.
  size_t pieces = 0;
  for (const Datagram& datagram : datagrams) {
    if (datagram.bytes.size() != kLargestDatagram) pieces++;
  }
  EXPECT_LE(pieces, 125U);
  EXPECT_GE(pieces, 60U / kSlowdown);
  let_pass(milliseconds(500));
}

TEST_F(LiveVideo, AnEntryOfAnUnknownTypeHoldsTheStreamUp) {
  RunningMaintask::fifo({"video-type", "5"});
  let_pass(milliseconds(500) * kSlowdown);
  expect_silence();
  RunningMaintask::fifo({"unblock"});
  EXPECT_TRUE(flows());
}

TEST_F(LiveVideo, StopAndStartKeepTheStreamUsable) {
  for (const char* action : {"stop", "final", "stop6", "fifo-end"}) {
    RunningMaintask::fifo({action});
    RunningMaintask::fifo({"start"});
    EXPECT_TRUE(wait_for_live_video(*peer, *video)) << action;
  }
}

TEST_F(LiveVideo, AFinalEventIsReportedAsStatusThree) {
  RunningMaintask::fifo({"quiet", "300"});
  const size_t before = RunningMaintask::fifo_log_count("status 3");
  RunningMaintask::fifo({"final"});
  EXPECT_TRUE(poll_until([&] { return RunningMaintask::fifo_log_count("status 3") == before + 1; },
                         seconds(5)))
      << read_file(RunningMaintask::kFifoLog).substr(0, 2000);
  EXPECT_TRUE(wait_for_live_video(*peer, *video));
}

TEST_F(LiveVideo, EndMarksEndTheCycleAndTheNextOneBegins) {
  const size_t before = RunningMaintask::fifo_log_count("status 2");
  RunningMaintask::fifo({"end-video"});
  RunningMaintask::fifo({"end-audio"});
  EXPECT_TRUE(
      poll_until([&] { return RunningMaintask::fifo_log_count("status 2") > before; }, seconds(5)));
  EXPECT_TRUE(wait_for_live_video(*peer, *video));
}

TEST_F(LiveVideo, FailingCallsOfTheLibraryAreTriedAgain) {
  RunningMaintask::fifo({"peek-fail", "3"});
  RunningMaintask::fifo({"init-fail", "3"});
  RunningMaintask::fifo({"stop-delay", "3"});
  RunningMaintask::fifo({"stop"});
  RunningMaintask::fifo({"start"});
  EXPECT_TRUE(wait_for_live_video(*peer, *video));
  for (const char* action : {"list-fail", "no-media-info", "config-fail", "create-fail"}) {
    RunningMaintask::fifo({action});
    RunningMaintask::fifo({"stop"});
    let_pass(milliseconds(300) * kSlowdown);
    RunningMaintask::fifo({"start"});
    EXPECT_TRUE(wait_for_live_video(*peer, *video)) << action;
  }
}

TEST_F(LiveVideo, OddMediaInformationIsHarmless) {
  for (const char* tracks : {"0", "255", "2"}) {
    RunningMaintask::fifo({"tracks", tracks});
    RunningMaintask::fifo({"stop"});
    let_pass(milliseconds(300) * kSlowdown);
    RunningMaintask::fifo({"start"});
    let_pass(milliseconds(300) * kSlowdown);
    ASSERT_TRUE(maintask->runs()) << tracks;
  }
  EXPECT_TRUE(wait_for_live_video(*peer, *video));
}

}  // namespace
