// Attaching readers to the tracks of the first active stream.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "supervisor/fifo/live_stream.h"

namespace supervisor {
namespace {

using LiveSetup = live_test::LiveCycle;

TEST_F(LiveSetup, AFailedListGivesMinusOne) {
  fake_fifo::state().list_result = -1;
  EXPECT_EQ(live_stream_setup(), -1);
  EXPECT_THAT(calls(), ElementsAre("list"));
}

TEST_F(LiveSetup, ACountBelowOneGivesMinusTwo) {
  for (const uint32_t count : {0U, 0x80000000U, 0xFFFFFFFFU}) {
    fake_fifo::state().list.count = count;
    EXPECT_EQ(live_stream_setup(), -2) << count;
    EXPECT_THAT(calls(), ElementsAre("list"));
  }
}

TEST_F(LiveSetup, NoActiveStreamGivesMinusOne) {
  fake_fifo::state().list.count = 16;
  fake_fifo::state().list.entries[0].active = 0;
  EXPECT_EQ(live_stream_setup(), -1);
  EXPECT_THAT(calls(), ElementsAre("list"));
}

TEST_F(LiveSetup, TheFirstActiveStreamIsTaken) {
  fake_fifo::state().list.count = 4;
  fake_fifo::state().list.entries[0].active = 0;
  fake_fifo::state().list.entries[2].active = 0x80;
  fake_fifo::state().list.entries[3].active = 1;
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_EQ(calls()[1], "info 2");
}

TEST_F(LiveSetup, EntriesBeyondTheCountDoNotCount) {
  fake_fifo::state().list.entries[0].active = 0;
  fake_fifo::state().list.entries[1].active = 1;
  EXPECT_EQ(live_stream_setup(), -1);
}

TEST_F(LiveSetup, ACountBeyondTheListIsReadToItsEnd) {
  fake_fifo::state().list.count = 2000000000;
  fake_fifo::state().list.entries[0].active = 0;
  EXPECT_EQ(live_stream_setup(), -1);
  fake_fifo::state().list.entries[15].active = 1;
  EXPECT_EQ(live_stream_setup(), 0);
}

TEST_F(LiveSetup, AFailedMediaInformationOrConfigurationGivesMinusOne) {
  fake_fifo::state().media_result = -5;
  EXPECT_EQ(live_stream_setup(), -1);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0"));
  fake_fifo::state().media_result = 0;
  fake_fifo::state().defaults_result = -5;
  EXPECT_EQ(live_stream_setup(), -1);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults"));
}

TEST_F(LiveSetup, PositiveResultsAreNoFailures) {
  fake_fifo::state().list_result = 1;
  fake_fifo::state().media_result = 2;
  fake_fifo::state().defaults_result = 3;
  EXPECT_EQ(live_stream_setup(), 0);
}

TEST_F(LiveSetup, WithoutTracksNothingIsAttachedAndTheCountersStay) {
  fake_fifo::state().media.track_count = 0;
  live_fifo.video_frames.store(5);
  live_fifo.audio_frames.store(6);
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults"));
  EXPECT_EQ(live_fifo.cycle_open.load(), 0);
  EXPECT_EQ(live_fifo.video_frames.load(), 5U);
  EXPECT_EQ(live_fifo.audio_frames.load(), 6U);
  // An open cycle is reported as reading all the same.
  live_fifo.cycle_open.store(1);
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_EQ(calls().back(), "status 1");
}

TEST_F(LiveSetup, AttachesHandleAndRingOfBothTracks) {
  live_fifo.video_frames.store(5);
  live_fifo.audio_frames.store(6);
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
  EXPECT_EQ(live_fifo.video.base, reinterpret_cast<uint64_t>(live_test::video_ring));
  EXPECT_EQ(live_fifo.video.limit, live_fifo.video.base + 1000);
  EXPECT_EQ(live_fifo.audio.fifo, &fake_fifo::audio_reader);
  EXPECT_EQ(live_fifo.audio.base, reinterpret_cast<uint64_t>(live_test::audio_ring));
  EXPECT_EQ(live_fifo.audio.limit, live_fifo.audio.base + 140000);
  EXPECT_EQ(live_fifo.cycle_open.load(), 1);
  EXPECT_EQ(live_fifo.video_frames.load(), 0U);
  EXPECT_EQ(live_fifo.audio_frames.load(), 0U);
}

TEST_F(LiveSetup, KeepsTheTrackInformation) {
  platform::FifoTrackRecord& video = fake_fifo::state().media.tracks[0];
  video.word0 = 11;
  video.word2 = 12;
  video.word3 = 13;
  platform::FifoTrackRecord& audio = fake_fifo::state().media.tracks[1];
  audio.word0 = 21;
  audio.word2 = 22;
  audio.audio_byte = 23;
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_EQ(live_fifo.video_info.word0, 11U);
  EXPECT_EQ(live_fifo.video_info.time_scale, 30000U);
  EXPECT_EQ(live_fifo.video_info.word2, 12U);
  EXPECT_EQ(live_fifo.video_info.word3, 13U);
  EXPECT_EQ(live_fifo.video_info.vector.load(), 3.0);  // 90000 / 30000
  EXPECT_EQ(live_fifo.audio_info.word0, 21U);
  EXPECT_EQ(live_fifo.audio_info.time_scale, 90000U);
  EXPECT_EQ(live_fifo.audio_info.word2, 22U);
  EXPECT_EQ(live_fifo.audio_info.sample_rate, 45000);
  EXPECT_EQ(live_fifo.audio_info.audio_byte, 23U);
  EXPECT_EQ(live_fifo.audio_info.vector.load(), 0.5);  // 45000 / 90000
}

TEST_F(LiveSetup, OnlyAnAudioTimeScaleOfZeroIsReplaced) {
  fake_fifo::state().media.tracks[0].time_scale = 0;
  fake_fifo::state().media.tracks[1].time_scale = 0;
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_EQ(live_fifo.video_info.time_scale, 0U);
  EXPECT_TRUE(std::isinf(live_fifo.video_info.vector.load()));
  EXPECT_EQ(live_fifo.audio_info.time_scale, 90000U);
  EXPECT_EQ(live_fifo.audio_info.vector.load(), 0.5);
}

TEST_F(LiveSetup, TheReadersConfigurationIsTheDefaultWithFourFieldsSet) {
  std::memset(&fake_fifo::state().defaults, 0xEE, sizeof(platform::FifoConfiguration));
  EXPECT_EQ(live_stream_setup(), 0);
  const auto& created = fake_fifo::state().created;
  ASSERT_EQ(created.size(), 2U);
  EXPECT_EQ(created[0].source, 0x1111U);
  EXPECT_EQ(created[1].source, 0x2222U);
  for (const platform::FifoConfiguration& configuration : created) {
    EXPECT_EQ(configuration.setting8, 256U);
    EXPECT_EQ(configuration.setting12, 1U);
    EXPECT_EQ(configuration.instance, 7U);
    EXPECT_TRUE(
        std::ranges::all_of(configuration.reserved24, [](uint8_t byte) { return byte == 0xEE; }));
  }
}

TEST_F(LiveSetup, ATrackWithoutASourceIsDescribedButNotAttached) {
  fake_fifo::state().media.tracks[0].source = 0;
  fake_fifo::state().handles = {&fake_fifo::audio_reader};
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_EQ(live_fifo.video.fifo, nullptr);
  EXPECT_EQ(live_fifo.video_info.time_scale, 30000U);
  EXPECT_EQ(live_fifo.audio.fifo, &fake_fifo::audio_reader);
  EXPECT_EQ(calls().back(), "status 1");
}

TEST_F(LiveSetup, NoSourceAtAllIsASetUpWithoutAReport) {
  fake_fifo::state().media.tracks[0].source = 0;
  fake_fifo::state().media.tracks[1].source = 0;
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults"));
  EXPECT_EQ(live_fifo.cycle_open.load(), 0);
}

TEST_F(LiveSetup, OtherKindsOfTracksAreSkipped) {
  platform::FifoMediaInfo& media = fake_fifo::state().media;
  media.tracks[3] = media.tracks[1];
  media.tracks[2] = media.tracks[0];
  media.tracks[0].kind = 0;
  media.tracks[1].kind = 3;
  media.track_count = 4;
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_EQ(fake_fifo::state().created.size(), 2U);
  EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
  EXPECT_EQ(live_fifo.audio.fifo, &fake_fifo::audio_reader);
}

TEST_F(LiveSetup, ASecondTrackOfAKindDoesNotReplaceTheFirstOnesReader) {
  platform::FifoMediaInfo& media = fake_fifo::state().media;
  media.tracks[1].kind = 1;
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_EQ(fake_fifo::state().created.size(), 1U);
  EXPECT_EQ(live_fifo.video.fifo, &fake_fifo::video_reader);
  EXPECT_EQ(live_fifo.video.base, media.tracks[0].ring_start);
  EXPECT_EQ(live_fifo.video_info.time_scale, 30000U);
}

TEST_F(LiveSetup, AtMostFourTracksAreRead) {
  platform::FifoMediaInfo& media = fake_fifo::state().media;
  for (auto& track : media.tracks) track.kind = 9;
  media.track_count = 255;
  EXPECT_EQ(live_stream_setup(), 0);
  EXPECT_THAT(fake_fifo::state().created, IsEmpty());
}

TEST_F(LiveSetup, AReaderThatCannotBeMadeEndsTheSetUpAtOnce) {
  fake_fifo::state().handles.clear();
  live_fifo.video_frames.store(5);
  EXPECT_EQ(live_stream_setup(), -1);
  EXPECT_THAT(calls(), ElementsAre("list", "info 0", "defaults", "create"));
  EXPECT_EQ(live_fifo.cycle_open.load(), 0);
  EXPECT_EQ(live_fifo.video_frames.load(), 5U);
}

}  // namespace
}  // namespace supervisor
