#include "groundstation/live/recorder.h"

#include <gtest/gtest.h>

#include "groundstation/live/sample_stream.h"

namespace groundstation_test {
namespace {

using groundstation::LiveRecorder;

struct Recording {
  Bytes written;
  bool works = true;
  LiveRecorder recorder{[this](std::span<const uint8_t> bytes) {
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
