#include "media/channel/video_streamer.h"

#include "fake_base/fake_base.h"
#include "media/channel/streamed_recording.h"
#include "media/channel/transfer_rig.h"

namespace media {
namespace {

using namespace media_test;  // NOLINT: this is what the file is about
using Words = std::vector<std::string>;

class VideoStreamer : public fake_base::FakeBaseTest {
 protected:
  // A pause that ends at its first look, with a seek.
  void pause_then_seek(int32_t ms) {
    rig_.context.paused = 1;
    fake_base::on_sleep([this, ms](uint64_t) {
      rig_.context.paused = 0;
      rig_.context.seek_time = ms;
      rig_.context.seek_pending = 1;
    });
  }
  // A seek while the frame of a sample is being sent for the first time.
  void seek_at(uint8_t sample, int32_t ms) {
    rig_.refuse([this, sample, ms, done = false](const Bytes& datagram) mutable {
      if (done || datagram[0] != 3 || datagram.back() != 0x10 + sample) return false;
      done = true;
      rig_.context.seek_time = ms;
      rig_.context.seek_pending = 1;
      return false;
    });
  }
  // The samples whose frames have been sent; parameter sets are none.
  std::vector<int> samples() {
    std::vector<int> result;
    for (const Bytes& piece : pieces()) {
      if (piece.back() != kPps.back()) result.push_back(piece.back() - 0x10);
    }
    return result;
  }
  int32_t play(const Bytes& file, int32_t from_ms = 0) {
    media_test::write_file(path_, file);
    item_ = make_item("a.MP4", path_, 3);
    rig_.context.seek_time = from_ms;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int32_t result = video_streamer(item_.get(), &rig_.context);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    return result;
  }
  // Pieces of the whole play, after the notice.
  std::vector<Bytes> pieces() {
    std::vector<Bytes> result;
    for (Bytes next = rig_.next(); !next.empty(); next = rig_.next()) {
      if (next[0] == 3) result.push_back(next);
    }
    return result;
  }

  media_test::TransferRig rig_;
  media_test::TemporaryFolder folder_;
  std::string path_ = folder_.path("a.MP4");
  std::unique_ptr<WorkItem> item_;
};

TEST_F(VideoStreamer, NoticeThenParameterSetsThenFramesThenTheEnd) {
  EXPECT_EQ(play(recording({10, 20, 30})), 0);
  EXPECT_EQ(rig_.said(), (Words{"TIME:0;SCALE:1000", "data 3 14", "data 3 14", "data 3 24",
                                "data 3 34", "TRANSCOMPLETE:a.MP4"}));
}

TEST_F(VideoStreamer, ParameterSetsHaveStartCodes) {
  play(recording({10}));
  EXPECT_EQ(pieces().at(0), (Bytes{3, 0, 0, 0, 1} + kSps + Bytes{0, 0, 0, 1} + kPps));
}

TEST_F(VideoStreamer, FrameOf8181BytesLeavesWholeAndUnshifted) {
  play(recording({8177}));
  EXPECT_EQ(pieces().at(1), (Bytes{3, 0, 0, 0, 1} + Bytes(8177, 0x10)));
}

TEST_F(VideoStreamer, FrameOf9000BytesLeavesShiftedByOne) {
  play(recording({8996}));
  const std::vector<Bytes> sent = pieces();
  ASSERT_EQ(sent.size(), 3U);
  EXPECT_EQ(sent[1], (Bytes{3, 3, 0, 0, 0, 1} + Bytes(8176, 0x10)));
  // 820 bytes; the frame's last byte is never sent.
  EXPECT_EQ(sent[2], (Bytes{3} + Bytes(819, 0x10)));
}

TEST_F(VideoStreamer, FrameOf8182BytesIsOneFullPieceAndOneByte) {
  play(recording({8178}));
  const std::vector<Bytes> sent = pieces();
  ASSERT_EQ(sent.size(), 3U);
  EXPECT_EQ(sent[1], (Bytes{3, 3, 0, 0, 0, 1} + Bytes(8176, 0x10)));
  EXPECT_EQ(sent[2], (Bytes{3, 0x10}));
}

TEST_F(VideoStreamer, StartsAtTheNearestKeyFrame) {
  // Keys are samples 1, 4 and 7; 5 s is sample 5, nearest to 4.
  EXPECT_EQ(play(recording({1, 2, 3, 4, 5, 6, 7, 8}), 5000), 0);
  const std::vector<Bytes> sent = pieces();
  ASSERT_EQ(sent.size(), 6U);
  EXPECT_EQ(sent[1], (Bytes{3, 0, 0, 0, 1} + Bytes(4, 0x13)));
  EXPECT_EQ(sent[5], (Bytes{3, 0, 0, 0, 1} + Bytes(8, 0x17)));
}

// Behind the end of the time table a time is the number of a sample that does not exist.
TEST_F(VideoStreamer, BeyondTheEndOfARecordingWithoutKeyFramesNothingIsPlayed) {
  const Form form{.key_frames = false};
  for (const std::vector<size_t>& sizes :
       {std::vector<size_t>{10, 20, 30}, {30, 20, 10, 40}, {10}, {9000, 9000}}) {
    for (const int32_t from_ms : {static_cast<int32_t>(sizes.size()) * 1000, 5000, 2147483647}) {
      EXPECT_EQ(play(recording(sizes, form), from_ms), 0);
      EXPECT_EQ(rig_.said(), (Words{"TIME:" + std::to_string(from_ms) + ";SCALE:1000", "data 3 14",
                                    "TRANSCOMPLETE:a.MP4"}));
    }
  }
}

TEST_F(VideoStreamer, EverySecondOfARecordingWithoutKeyFramesIsPlayed) {
  EXPECT_EQ(play(recording({10, 20, 30}, {.key_frames = false}), 2000), 0);
  EXPECT_EQ(rig_.said(), (Words{"TIME:2000;SCALE:1000", "data 3 14", "data 3 24", "data 3 34",
                                "TRANSCOMPLETE:a.MP4"}));
}

TEST_F(VideoStreamer, SeekBeyondTheEndEndsAPlay) {
  pause_then_seek(999000);
  EXPECT_EQ(play(recording({10, 20, 30}, {.key_frames = false})), 0);
  EXPECT_EQ(rig_.said(), (Words{"TIME:0;SCALE:1000", "TIME:999000;SCALE:1000", "data 3 14",
                                "TRANSCOMPLETE:a.MP4"}));
}

TEST_F(VideoStreamer, SeekBackFromBeyondTheEndPlaysOn) {
  pause_then_seek(2000);
  EXPECT_EQ(play(recording({10, 20, 30}, {.key_frames = false}), 999000), 0);
  EXPECT_EQ(rig_.said(), (Words{"TIME:999000;SCALE:1000", "TIME:2000;SCALE:1000", "data 3 14",
                                "data 3 24", "data 3 34", "TRANSCOMPLETE:a.MP4"}));
}

TEST_F(VideoStreamer, CancelledPlaySaysNothing) {
  rig_.context.cancel = 1;
  EXPECT_EQ(play(recording({10})), 0);
  EXPECT_EQ(rig_.said(), Words{"TIME:0;SCALE:1000"});
}

TEST_F(VideoStreamer, PauseLooksEveryHalfSecond) {
  rig_.context.paused = 1;
  int looks = 0;
  fake_base::on_sleep([&](uint64_t us) {
    EXPECT_EQ(us, 500000U);
    if (++looks == 3) rig_.context.paused = 0;
  });
  play(recording({10}));
  EXPECT_EQ(looks, 3);
  EXPECT_EQ(rig_.said().back(), "TRANSCOMPLETE:a.MP4");
}

TEST_F(VideoStreamer, SeekStartsAgainWithItsNotice) {
  rig_.context.paused = 1;
  fake_base::on_sleep([&](uint64_t) {
    rig_.context.paused = 0;
    rig_.context.seek_time = 4000;
    rig_.context.seek_pending = 1;
  });
  play(recording({1, 2, 3, 4}));
  EXPECT_EQ(rig_.said(), (Words{"TIME:0;SCALE:1000", "TIME:4000;SCALE:1000", "data 3 14",
                                "data 3 8", "TRANSCOMPLETE:a.MP4"}));
  EXPECT_EQ(rig_.context.seek_pending, 0);
}

TEST_F(VideoStreamer, LinkThatIsDownIsWaitedFor) {
  rig_.block();
  fake_base::on_sleep([&](uint64_t us) {
    EXPECT_EQ(us, 10000U);
    rig_.unblock();
  });
  play(recording({10}));
  EXPECT_EQ(rig_.said().front(), "TIME:0;SCALE:1000");
}

TEST_F(VideoStreamer, PieceThatDidNotGoOutIsSentAgainAfterAMillisecond) {
  const Bytes file = recording({10, 20000, 30});
  EXPECT_EQ(play(file), 0);
  const std::vector<Bytes> whole = pieces();
  ASSERT_EQ(whole.size(), 6U);
  rig_.refuse(
      [tries = 0](const Bytes& datagram) mutable { return datagram[0] == 3 && ++tries % 3 != 0; });
  EXPECT_EQ(play(file), 0);
  EXPECT_EQ(pieces(), whole);
  EXPECT_EQ(fake_base::sleeps(), std::vector<uint64_t>(12, 1000));
}

// Only what is at a sample's place is played: of several NAL units the first.
TEST_F(VideoStreamer, EverySampleIsReadAtItsPlace) {
  const std::vector<size_t> sizes{1, 2, 3, 4, 5};
  EXPECT_EQ(play(recording(sizes)), 0);
  const std::vector<Bytes> whole = pieces();
  for (const Form& form : {Form{.gap = 1}, Form{.gap = 1000}, Form{.second_nal = 7},
                           Form{.gap = 3, .second_nal = 5000}}) {
    EXPECT_EQ(play(recording(sizes, form)), 0);
    EXPECT_EQ(pieces(), whole) << form.gap << " " << form.second_nal;
  }
}

// The index gives the place of the sample before once more, as it does behind the last one.
TEST_F(VideoStreamer, SampleWithoutBytesEndsThePlayBehindTheNext) {
  const Bytes data =
      be32(10) + Bytes(10, 0x10) + be32(20) + Bytes(20, 0x11) + be32(30) + Bytes(30, 0x12);
  const Bytes index = index_of({14, 0, 24, 34}, {24}, {});
  EXPECT_EQ(play(atom("ftyp", Bytes(8)) + atom("mdat", data) + index), 0);
  EXPECT_EQ(samples(), (std::vector<int>{0, 1}));
}

TEST_F(VideoStreamer, SeekIsLookedAtBeforeThePause) {
  rig_.context.paused = 1;
  rig_.context.seek_pending = 1;
  fake_base::on_sleep([&](uint64_t) {
    EXPECT_EQ(rig_.said(), (Words{"TIME:0;SCALE:1000", "TIME:0;SCALE:1000"}));
    rig_.context.cancel = 1;
  });
  play(recording({10}));
  EXPECT_EQ(fake_base::sleeps().size(), 1U);
}

TEST_F(VideoStreamer, SeekWhilePlayingPlaysFromThereToTheEnd) {
  const struct {
    uint8_t at;
    int32_t to_ms;
    std::vector<int> played;
  } rows[] = {
      {1, 1000, {0, 1, 0, 1, 2, 3}},  // back to the sample before the next one
      {1, 2000, {0, 1, 1, 2, 3}},     // to the one that is being sent
      {0, 3900, {0, 2, 3}},
      {0, 4000, {0}},
  };
  for (const auto& row : rows) {
    seek_at(row.at, row.to_ms);
    EXPECT_EQ(play(recording({10, 20, 30, 40}, {.key_frames = false})), 0);
    EXPECT_EQ(samples(), row.played) << row.to_ms;
  }
  // While the last one is being sent, in three pieces.
  seek_at(3, 3000);
  EXPECT_EQ(play(recording({10, 20, 30, 20000}, {.key_frames = false})), 0);
  EXPECT_EQ(samples(), (std::vector<int>{0, 1, 2, 3, 2, 3, 3, 3}));
  // Nothing follows the last sample, of which there is one.
  const Bytes keys = recording({1, 2, 3, 4});
  seek_at(1, 3000);
  EXPECT_EQ(play(keys), 0);
  EXPECT_EQ(samples(), (std::vector<int>{0, 1, 3}));
}

TEST_F(VideoStreamer, RecordingWithoutParameterSetsEndsAfterItsNotice) {
  EXPECT_EQ(play(recording({10}, {.avc = false})), -1);
  EXPECT_EQ(rig_.said(), Words{"TIME:0;SCALE:1000"});
}

// Without places of samples every sample begins where the file does: its first atom's size is
// taken as the length of a frame, and that one frame is the whole play.
TEST_F(VideoStreamer, RecordingWithOffsetsOf64BitsPlaysTheStartOfTheFileOnce) {
  for (const int32_t from_ms : {0, 2000}) {
    EXPECT_EQ(play(recording({10, 20, 30}, {.wide_offsets = true}), from_ms), 0);
    const std::string time = "TIME:" + std::to_string(from_ms) + ";SCALE:1000";
    EXPECT_EQ(rig_.words(rig_.next()), time);
    EXPECT_EQ(rig_.words(rig_.next()), "data 3 14");
    // The 16 bytes behind the size of `ftyp`: the rest of it and the size of `mdat`.
    EXPECT_EQ(rig_.next(), (Bytes{3, 0, 0, 0, 1} + media_test::text_bytes("ftyp") + Bytes(8) +
                            be32(8 + 14 + 24 + 34)));
    EXPECT_EQ(rig_.said(), Words{"TRANSCOMPLETE:a.MP4"});
  }
}

TEST_F(VideoStreamer, LengthThatLiesEndsThePlay) {
  Bytes file = recording({10, 20});
  file[24] = 0x7F;  // the first sample's length
  EXPECT_EQ(play(file), -1);
  EXPECT_EQ(rig_.said(), (Words{"TIME:0;SCALE:1000", "data 3 14"}));
}

TEST_F(VideoStreamer, FileWhoseIndexIsCutIsRefused) {
  const Bytes whole = recording({10, 20, 300});
  for (size_t size = 0; size < whole.size(); size += 7) {
    EXPECT_EQ(play(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size))), -1);
    EXPECT_EQ(rig_.said(), Words{}) << size;
  }
  EXPECT_EQ(play(whole), 0);
}

TEST_F(VideoStreamer, FileWhosePicturesAreCutIsPlayedAsFarAsItGoes) {
  const Bytes whole = recording({10, 20, 300}, {.index_first = true});
  EXPECT_EQ(play(whole), 0);
  EXPECT_EQ(rig_.said(), (Words{"TIME:0;SCALE:1000", "data 3 14", "data 3 14", "data 3 24",
                                "data 3 304", "TRANSCOMPLETE:a.MP4"}));
  const size_t pictures = whole.size() - (14 + 24 + 304);
  for (size_t size = pictures; size < whole.size(); size += 7) {
    const int32_t result = play(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)));
    Words expected{"TIME:0;SCALE:1000", "data 3 14"};
    size_t left = size - pictures;
    // Of the one that is cut what there is; behind the last one is the end.
    for (const size_t sample : {14U, 24U, 304U}) {
      const size_t there = std::min<size_t>(left, sample);
      if (there > 4) expected.push_back("data 3 " + std::to_string(there));
      left -= there;
    }
    const bool all_begun = expected.size() == 5;
    if (all_begun) expected.emplace_back("TRANSCOMPLETE:a.MP4");
    EXPECT_EQ(result, all_begun ? 0 : -1) << size;
    EXPECT_EQ(rig_.said(), expected) << size;
  }
}

TEST_F(VideoStreamer, FilesThatAreNoRecordingsAreSilent) {
  EXPECT_EQ(play({}), -1);
  EXPECT_EQ(play(Bytes(5000, 0xFF)), -1);
  EXPECT_EQ(play(media_test::plain_photo()), -1);
  item_ = make_item("a.MP4", folder_.path("none"), 3);
  EXPECT_EQ(video_streamer(item_.get(), &rig_.context), -1);
  EXPECT_EQ(rig_.said(), Words{});
}

}  // namespace
}  // namespace media
