#include "groundstation/live/recorder.h"

#include <gtest/gtest.h>

#include "groundstation/live/sample_stream.h"

namespace groundstation_test {
namespace {

using groundstation::LiveRecorder;

struct Recording {
  Bytes written;
  std::vector<bool> keys;
  bool works = true;
  LiveRecorder recorder{[this](std::span<const uint8_t> bytes, bool key) {
    keys.push_back(key);
    written.insert(written.end(), bytes.begin(), bytes.end());
    return works;
  }};
};

TEST(LiveRecorder, WritingStartsAtTheFirstKeyPicture) {
  Recording recording;
  recording.recorder.feed(1000, join({kPicture3, kSps, kPps, kPicture5}));
  EXPECT_FALSE(recording.recorder.started());
  recording.recorder.feed(2000, join({kSps, kPps, kKey, kPicture1, kPicture2}));
  EXPECT_TRUE(recording.recorder.started());
  EXPECT_EQ(recording.recorder.started_us(), 2000U);
  EXPECT_EQ(recording.written, join({kSps, kPps, kKey}));
}

TEST(LiveRecorder, StartIsFoundWhereverTheDatagramsAreCut) {
  const Bytes stream = join({kPicture3, kSps, kPps, kKey, kPicture1, kPicture2});
  for (size_t cut = 1; cut < stream.size(); cut++) {
    Recording recording;
    recording.recorder.feed(1, std::span(stream).first(cut));
    recording.recorder.feed(2, std::span(stream).subspan(cut));
    recording.recorder.flush();
    EXPECT_EQ(recording.written, join({kSps, kPps, kKey, kPicture1, kPicture2}))
        << "cut at " << cut;
  }
}

TEST(LiveRecorder, EarlierParameterSetsAreWrittenBeforeABareKeyPicture) {
  Recording recording;
  recording.recorder.feed(1, join({kSps, kPps, kPicture3, kKey, kPicture1, kPicture2}));
  EXPECT_EQ(recording.written, join({kSps, kPps, kKey}));
}

TEST(LiveRecorder, KeyPictureWithoutParameterSetsOrFirstSliceDoesNotStart) {
  Recording recording;
  recording.recorder.feed(1, join({kKey, kPicture1, kSps, kPps, kKeySecondSlice, kPicture1}));
  recording.recorder.flush();
  EXPECT_FALSE(recording.recorder.started());
  EXPECT_TRUE(recording.written.empty());
}

TEST(LiveRecorder, UnfinishedPictureIsWrittenOnlyOnFlush) {
  Recording recording;
  recording.recorder.feed(1, join({kSps, kPps, kKey, kPicture1}));
  EXPECT_TRUE(recording.written.empty());
  recording.recorder.flush();
  EXPECT_EQ(recording.written, join({kSps, kPps, kKey, kPicture1}));
  EXPECT_EQ(recording.recorder.pictures_written(), 2U);
}

TEST(LiveRecorder, PausesOverHalfASecondAreStalls) {
  Recording recording;
  recording.recorder.feed(1'000'000, kSps);
  recording.recorder.feed(1'500'000, kPps);
  EXPECT_EQ(recording.recorder.figures().stalls, 0U);
  recording.recorder.feed(2'000'001, kKey);
  const auto figures = recording.recorder.figures();
  EXPECT_EQ(figures.stalls, 1U);
  EXPECT_EQ(figures.longest_pause_us, 500'001U);
  EXPECT_EQ(figures.datagrams, 3U);
  EXPECT_EQ(figures.bytes, 26U);
}

TEST(LiveRecorder, APauseThatHasNotEndedIsAStall) {
  Recording recording;
  EXPECT_FALSE(recording.recorder.stalled_at(9'000'000));
  recording.recorder.feed(1'000'000, kSps);
  EXPECT_FALSE(recording.recorder.stalled_at(1'500'000));
  EXPECT_EQ(recording.recorder.figures_at(1'500'000).stalls, 0U);
  EXPECT_TRUE(recording.recorder.stalled_at(1'500'001));
  const auto open = recording.recorder.figures_at(4'000'000);
  EXPECT_EQ(open.stalls, 1U);
  EXPECT_EQ(open.longest_pause_us, 3'000'000U);
  // Once it has ended it counts once.
  recording.recorder.feed(5'000'000, kPps);
  const auto ended = recording.recorder.figures_at(5'100'000);
  EXPECT_EQ(ended.stalls, 1U);
  EXPECT_EQ(ended.longest_pause_us, 4'000'000U);
}

TEST(LiveRecorder, TellsWhereDecodingMayBegin) {
  Recording recording;
  recording.recorder.feed(1, join({kSps, kPps, kPicture3, kKey, kPicture1, kKey, kPicture2}));
  recording.recorder.flush();
  // Both parameter sets that came earlier, the key picture, one that leans on it, and so on.
  EXPECT_EQ(recording.keys, (std::vector<bool>{true, true, true, false, true, false}));
}

TEST(LiveRecorder, FailedWriteStopsWriting) {
  Recording recording;
  recording.works = false;
  recording.recorder.feed(1, join({kSps, kPps, kKey, kPicture1, kPicture2, kPicture3}));
  EXPECT_TRUE(recording.recorder.failed());
  EXPECT_EQ(recording.written, join({kSps, kPps, kKey}));
  EXPECT_EQ(recording.recorder.figures().bytes_written, 0U);
}

}  // namespace
}  // namespace groundstation_test
