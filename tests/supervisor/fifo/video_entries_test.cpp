// Video entries: what reaches the live frame list, what stays, and when the loop rests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "supervisor/fifo/live_stream.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

using live_test::Bytes;

class LiveVideoEntries : public live_test::LiveStream {
 protected:
  static std::vector<uint64_t> pass() {
    fake_base::reset();
    EXPECT_EQ(live_fifo_pass(), 1);
    return fake_base::sleeps();
  }
};

TEST_F(LiveVideoEntries, Types1To4AreCopiedCountedAndRemoved) {
  for (uint8_t type = 1; type <= 4; type++) announce_video(type, video_at(10U * type), 5);
  for (uint32_t type = 1; type <= 4; type++) {
    EXPECT_EQ(live_fifo.video.pending, static_cast<int32_t>(5 - type));
    EXPECT_THAT(pass(), IsEmpty());  // one entry per pass, and no rest
    EXPECT_THAT(calls(), ElementsAre("peek video", "remove video"));
    EXPECT_THAT(pieces(), ElementsAre(video_bytes(10 * type, 5)));
    EXPECT_EQ(live_fifo.video_frames.load(), type);
    EXPECT_EQ(get_video_flowing(), 1);
  }
  EXPECT_THAT(pass(), ElementsAre(10000));
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LiveVideoEntries, OtherTypesStayAreSeenEveryPassAndTheLoopDoesNotRest) {
  for (const uint8_t type : {uint8_t{5}, uint8_t{0}, uint8_t{8}, uint8_t{254}}) {
    announce_video(type, video_at(0), 5);
    for (int i = 0; i < 3; i++) {
      EXPECT_THAT(pass(), IsEmpty()) << int{type};
      EXPECT_THAT(calls(), ElementsAre("peek video")) << int{type};
    }
    EXPECT_EQ(live_fifo.video.pending, 1);
    EXPECT_EQ(live_fifo.video_frames.load(), 0U);
    EXPECT_EQ(get_video_flowing(), 0);
    EXPECT_THAT(pieces(), IsEmpty());
    fake_fifo::state().entries.clear();
    live_fifo.video.pending = 0;
  }
}

TEST_F(LiveVideoEntries, AFailedPeekChangesNothingAndPrintsNothing) {
  announce_video(1, video_at(0), 5);
  fake_fifo::state().entries.clear();
  ::testing::internal::CaptureStdout();
  EXPECT_THAT(pass(), IsEmpty());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(calls(), ElementsAre("peek video"));
  EXPECT_EQ(live_fifo.video.pending, 1);
  EXPECT_EQ(live_fifo.video_frames.load(), 0U);
}

TEST_F(LiveVideoEntries, AFrameThatWrapsGivesTwoPiecesTheTailFirst) {
  announce_video(1, video_at(990), 25);
  pass();
  EXPECT_THAT(pieces(), ElementsAre(video_bytes(990, 10), video_bytes(0, 15)));
  EXPECT_THAT(calls(), ElementsAre("peek video", "remove video"));
  EXPECT_EQ(live_fifo.video_frames.load(), 1U);
}

TEST_F(LiveVideoEntries, AFrameThatEndsAtTheRingsEndGivesOnePiece) {
  announce_video(1, video_at(990), 10);
  pass();
  EXPECT_THAT(pieces(), ElementsAre(video_bytes(990, 10)));
}

TEST_F(LiveVideoEntries, OneByteBeyondTheEndWraps) {
  announce_video(1, video_at(990), 11);
  pass();
  EXPECT_THAT(pieces(), ElementsAre(video_bytes(990, 10), Bytes{0}));
}

TEST_F(LiveVideoEntries, AFrameMayFillTheRing) {
  announce_video(1, video_at(0), 1000);
  announce_video(1, video_at(999), 1000);
  pass();
  pass();
  EXPECT_THAT(pieces(),
              ElementsAre(video_bytes(0, 1000), video_bytes(999, 1), video_bytes(0, 999)));
}

TEST_F(LiveVideoEntries, AFrameOutsideItsRingIsCountedAndRemovedButNotCopied) {
  const struct {
    uint64_t address;
    uint32_t size;
  } outside[] = {
      {video_at(0) - 1, 5}, {video_at(1000), 1},         {video_at(0), 1001},   {0, 5},
      {UINT64_MAX, 5},      {video_at(500), 0xFFFFFFFF}, {video_at(999), 1001}, {video_at(1000), 0},
  };
  uint32_t frames = 0;
  for (const auto& [address, size] : outside) {
    announce_video(1, address, size);
    EXPECT_THAT(pass(), IsEmpty());
    EXPECT_THAT(calls(), ElementsAre("peek video", "remove video"));
    EXPECT_EQ(live_fifo.video_frames.load(), ++frames);
    EXPECT_EQ(live_fifo.video.pending, 0);
    EXPECT_THAT(pieces(), IsEmpty());
    EXPECT_EQ(get_video_flowing(), 0);
  }
}

TEST_F(LiveVideoEntries, AnEmptyFrameIsRemovedAndGivesNoPiece) {
  announce_video(1, video_at(0), 0);
  pass();
  EXPECT_THAT(calls(), ElementsAre("peek video", "remove video"));
  EXPECT_THAT(pieces(), IsEmpty());
  EXPECT_EQ(live_fifo.video_frames.load(), 1U);
}

TEST_F(LiveVideoEntries, TheEndMarkDeletesTheReaderAndItsPassRests) {
  for (const bool by_type : {true, false}) {
    fake_fifo::state().handles = {&fake_fifo::video_reader, &fake_fifo::audio_reader};
    ASSERT_EQ(live_stream_setup(), 0);
    calls();
    set_video_flowing(1);
    announce_video(by_type ? 255 : 1, video_at(0), by_type ? 5 : 0xFFFFFF);
    live_fifo_event(&fake_fifo::video_reader, platform::kFifoEntryAdded);
    EXPECT_EQ(live_fifo.video.pending, 2);
    EXPECT_THAT(pass(), ElementsAre(10000));
    EXPECT_THAT(calls(), ElementsAre("peek video", "remove video", "delete video"));
    EXPECT_EQ(live_fifo.video.fifo, nullptr);
    EXPECT_EQ(live_fifo.video.pending, 0);
    EXPECT_EQ(live_fifo.video_frames.load(), 0U);
    EXPECT_THAT(pieces(), IsEmpty());
    EXPECT_EQ(get_video_flowing(), 1);
  }
}

TEST_F(LiveVideoEntries, AnEndMarkOfAnotherTypeIsStillOne) {
  announce_video(5, video_at(0), 0xFFFFFF);
  pass();
  EXPECT_THAT(calls(), ElementsAre("peek video", "remove video", "delete video"));
}

TEST_F(LiveVideoEntries, TheEndMarkOfTheLastReaderEndsTheCycleWithoutRest) {
  live_fifo.audio_stop.store(1);
  pass();
  announce_video(255, video_at(0), 0);
  fake_base::reset();
  EXPECT_EQ(live_fifo_pass(), 0);
  EXPECT_THAT(fake_base::sleeps(), IsEmpty());
}

TEST_F(LiveVideoEntries, AStopWaitsForWhatIsPending) {
  announce_video(1, video_at(0), 5);
  announce_video(2, video_at(5), 5);
  live_fifo.video_stop.store(1);
  EXPECT_THAT(pass(), IsEmpty());
  EXPECT_THAT(pass(), IsEmpty());
  EXPECT_EQ(pieces().size(), 2U);
  EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
  EXPECT_EQ(get_video_flowing(), 1);
  calls();
  EXPECT_THAT(pass(), ElementsAre(10000));
  EXPECT_THAT(calls(), ElementsAre("delete video"));
  EXPECT_EQ(live_fifo.video.fifo, nullptr);
  EXPECT_EQ(get_video_flowing(), 0);
}

TEST_F(LiveVideoEntries, AfterTheCleanUpFramesAreTakenButNotCopied) {
  announce_video(1, video_at(0), 5);
  live_fifo_cleanup();
  calls();
  pass();
  EXPECT_THAT(calls(), ElementsAre("peek video", "remove video"));
  EXPECT_EQ(live_fifo.video_frames.load(), 1U);
  EXPECT_THAT(pieces(), IsEmpty());
}

TEST_F(LiveVideoEntries, ABurstIsDrainedWithoutSleepingAndTheNewestElevenStay) {
  for (uint32_t i = 0; i < 20; i++) announce_video(1, video_at(i), 1);
  fake_base::reset();
  for (int i = 0; i < 20; i++) EXPECT_EQ(live_fifo_pass(), 1);
  EXPECT_THAT(fake_base::sleeps(), IsEmpty());
  const std::vector<Bytes> kept = pieces();
  ASSERT_EQ(kept.size(), 11U);
  EXPECT_EQ(kept.front(), Bytes{9});
  EXPECT_EQ(kept.back(), Bytes{19});
}

}  // namespace
}  // namespace supervisor
