// Audio entries: messages, counting, and the private copy.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "supervisor/fifo/live_stream.h"
#include "supervisor/state/switches.h"

namespace supervisor {
namespace {

using live_test::Bytes;

struct Output {
  std::string out;
  std::string err;
  std::vector<uint64_t> sleeps;
};

class LiveAudioEntries : public live_test::LiveStream {
 protected:
  static Output pass() {
    fake_base::reset();
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(live_fifo_pass(), 1);
    Output output;
    output.out = ::testing::internal::GetCapturedStdout();
    output.err = ::testing::internal::GetCapturedStderr();
    output.sleeps = fake_base::sleeps();
    return output;
  }
  static Bytes copied(size_t size) {
    return {live_test::audio_copy(), live_test::audio_copy() + size};
  }
  static Bytes audio_bytes(uint32_t offset, uint32_t size) {
    return {live_test::audio_ring + offset, live_test::audio_ring + offset + size};
  }
};

TEST_F(LiveAudioEntries, AFrameIsCopiedCountedAndRemoved) {
  std::memset(live_test::audio_copy(), 0xEE, 131072);
  announce_audio(8, audio_at(300), 4);
  const Output output = pass();
  EXPECT_EQ(output.out + output.err, "");
  EXPECT_THAT(output.sleeps, IsEmpty());
  EXPECT_THAT(calls(), ElementsAre("peek audio", "remove audio"));
  EXPECT_EQ(live_fifo.audio_frames.load(), 1U);
  EXPECT_EQ(live_fifo.audio.pending, 0);
  EXPECT_EQ(copied(6), (Bytes{49, 50, 51, 52, 0xEE, 0xEE}));  // 300 modulo 251
  // Audio is nobody's video.
  EXPECT_THAT(pieces(), IsEmpty());
  EXPECT_EQ(get_video_flowing(), 0);
}

TEST_F(LiveAudioEntries, TheSecondPartOfAWrappedFrameOverwritesTheFirst) {
  std::memset(live_test::audio_copy(), 0xEE, 131072);
  announce_audio(8, audio_at(139994), 10);  // 6 bytes to the end, 4 from the start
  pass();
  // 139994 modulo 251 is 187: bytes 187 to 192, the first four overwritten.
  EXPECT_EQ(copied(7), (Bytes{0, 1, 2, 3, 191, 192, 0xEE}));
}

TEST_F(LiveAudioEntries, AFrameThatEndsAtTheRingsEndIsOnePart) {
  announce_audio(8, audio_at(139994), 6);
  pass();
  EXPECT_EQ(copied(6), (Bytes{187, 188, 189, 190, 191, 192}));
}

TEST_F(LiveAudioEntries, ExactlyTheBuffersSizeIsCopied) {
  std::memset(live_test::audio_copy(), 0xEE, 131072);
  announce_audio(8, audio_at(1), 131072);
  EXPECT_EQ(pass().err, "");
  EXPECT_EQ(copied(131072), audio_bytes(1, 131072));
}

TEST_F(LiveAudioEntries, OneByteMoreIsToldAndNotCopied) {
  std::memset(live_test::audio_copy(), 0xEE, 131072);
  announce_audio(8, audio_at(1), 131073);
  const Output output = pass();
  EXPECT_EQ(output.err, "Audio Frame too large!(131073/131072) Skip retrieve operation!\n");
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(copied(131072), Bytes(131072, 0xEE));
  EXPECT_THAT(calls(), ElementsAre("peek audio", "remove audio"));
  EXPECT_EQ(live_fifo.audio_frames.load(), 1U);
}

TEST_F(LiveAudioEntries, AFrameOutsideItsRingIsCountedAndRemovedButNotCopied) {
  std::memset(live_test::audio_copy(), 0xEE, 131072);
  for (const uint64_t address : {audio_at(0) - 1, audio_at(140000), uint64_t{0}}) {
    announce_audio(8, address, 4);
    EXPECT_EQ(pass().err, "");
    EXPECT_THAT(calls(), ElementsAre("peek audio", "remove audio"));
  }
  EXPECT_EQ(live_fifo.audio_frames.load(), 3U);
  EXPECT_EQ(copied(8), Bytes(8, 0xEE));
}

TEST_F(LiveAudioEntries, Type5IsToldEveryPassAndStays) {
  announce_audio(5, audio_at(0), 4);
  for (int i = 0; i < 3; i++) {
    const Output output = pass();
    EXPECT_EQ(output.out, "process_audio_frame: It is not Audio frame!(5)\n");
    EXPECT_THAT(output.sleeps, IsEmpty());
    EXPECT_THAT(calls(), ElementsAre("peek audio"));
  }
  EXPECT_EQ(live_fifo.audio.pending, 1);
  EXPECT_EQ(live_fifo.audio_frames.load(), 0U);
}

TEST_F(LiveAudioEntries, TheTypeIsToldInHexadecimal) {
  announce_audio(0xFE, audio_at(0), 4);
  EXPECT_EQ(pass().out, "process_audio_frame: It is not Audio frame!(fe)\n");
  announce_audio(1, audio_at(0), 4);
}

TEST_F(LiveAudioEntries, AFailedPeekIsToldAndLeavesTheEntry) {
  live_fifo_event(&fake_fifo::audio_reader, platform::kFifoEntryAdded);
  for (int i = 0; i < 2; i++) {
    const Output output = pass();
    EXPECT_EQ(output.out, "process_audio_frame: Fail to do AmpFifo_PeekEntry.(-3)\n");
    EXPECT_THAT(output.sleeps, IsEmpty());
  }
  EXPECT_EQ(live_fifo.audio.pending, 1);
}

TEST_F(LiveAudioEntries, TheEndMarkIsToldAndDeletesTheReader) {
  announce_audio(255, audio_at(0), 16);
  live_fifo_event(&fake_fifo::audio_reader, platform::kFifoEntryAdded);
  std::memset(live_test::audio_copy(), 0xEE, 131072);
  const Output output = pass();
  EXPECT_EQ(output.out, "process_audio_frame: audio size is EOS mark!(10)\n");
  EXPECT_THAT(output.sleeps, ElementsAre(10000));
  EXPECT_THAT(calls(), ElementsAre("peek audio", "remove audio", "delete audio"));
  EXPECT_EQ(live_fifo.audio.fifo, nullptr);
  EXPECT_EQ(live_fifo.audio.pending, 0);
  EXPECT_EQ(live_fifo.audio_frames.load(), 0U);
  EXPECT_EQ(copied(4), Bytes(4, 0xEE));
}

TEST_F(LiveAudioEntries, TheEndMarkMayBeTheSize) {
  announce_audio(8, audio_at(0), 0xFFFFFF);
  const Output output = pass();
  EXPECT_EQ(output.out, "process_audio_frame: audio size is EOS mark!(ffffff)\n");
  EXPECT_EQ(output.err, "");
  EXPECT_THAT(calls(), ElementsAre("peek audio", "remove audio", "delete audio"));
}

TEST_F(LiveAudioEntries, TheEndMarkDoesNotMakeABusyVideoTrackRest) {
  announce_video(1, video_at(0), 5);
  announce_audio(255, audio_at(0), 0);
  EXPECT_THAT(pass().sleeps, IsEmpty());
}

TEST_F(LiveAudioEntries, Every256thFrameTellsTheTime) {
  live_fifo.audio_frames.store(254);
  announce_audio(8, audio_at(0), 4, 999);
  EXPECT_EQ(pass().out, "");
  announce_audio(8, audio_at(0), 4, 1001);
  const Output output = pass();
  // 1001 ticks of 1/90000 s at 45000 samples/s: 500.5.
  EXPECT_EQ(output.out, "process_audio_frame: got 256 audio frames. PTS=1001 (500@SR)\n");
  EXPECT_EQ(output.err, "");
  announce_audio(8, audio_at(0), 4, 1002);
  EXPECT_EQ(pass().out, "");
  live_fifo.audio_frames.store(511);
  announce_audio(8, audio_at(0), 4, 4000000000000);
  EXPECT_EQ(pass().out,
            "process_audio_frame: got 512 audio frames. PTS=4000000000000 (2000000000000@SR)\n");
}

TEST_F(LiveAudioEntries, AVectorOfZeroIsToldAndTheRawTimeStands) {
  live_fifo.audio_info.vector.store(0);
  live_fifo.audio_frames.store(255);
  announce_audio(8, audio_at(0), 4, 1001);
  const Output output = pass();
  EXPECT_EQ(output.err, "vector is 0. please check the mediainfo!(audio)\n");
  EXPECT_EQ(output.out, "process_audio_frame: got 256 audio frames. PTS=1001 (1001@SR)\n");
}

TEST_F(LiveAudioEntries, ANegativeRateGivesTimeZero) {
  live_fifo.audio_info.vector.store(-1.5);
  live_fifo.audio_frames.store(255);
  announce_audio(8, audio_at(0), 4, 1001);
  EXPECT_EQ(pass().out, "process_audio_frame: got 256 audio frames. PTS=1001 (0@SR)\n");
}

TEST_F(LiveAudioEntries, AStopDeletesTheReaderOnceItIsIdleAndLeavesTheVideoFlag) {
  announce_audio(8, audio_at(0), 4);
  live_fifo.audio_stop.store(1);
  set_video_flowing(1);
  EXPECT_THAT(pass().sleeps, IsEmpty());
  EXPECT_EQ(live_fifo.audio.fifo, &fake_fifo::audio_reader);
  calls();
  EXPECT_THAT(pass().sleeps, ElementsAre(10000));
  EXPECT_THAT(calls(), ElementsAre("delete audio"));
  EXPECT_EQ(get_video_flowing(), 1);
}

TEST_F(LiveAudioEntries, AfterTheCleanUpFramesAreTakenButNotCopied) {
  live_fifo_cleanup();
  calls();
  announce_audio(8, audio_at(0), 131073);
  EXPECT_EQ(pass().err, "");  // not even looked at
  EXPECT_THAT(calls(), ElementsAre("peek audio", "remove audio"));
  EXPECT_EQ(live_fifo.audio_frames.load(), 1U);
}

TEST_F(LiveAudioEntries, VideoIsTakenBeforeAudioInEveryPass) {
  announce_audio(8, audio_at(0), 4);
  announce_video(1, video_at(0), 5);
  pass();
  EXPECT_THAT(calls(), ElementsAre("peek video", "remove video", "peek audio", "remove audio"));
}

}  // namespace
}  // namespace supervisor
