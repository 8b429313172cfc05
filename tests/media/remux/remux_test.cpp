// What the remux job does with packets, without packets and when it is stopped.
#include "base/text.h"
#include "media/remux/remux_rig.h"
#include "media/remux/stamp.h"
#include "support/peer_capture.h"

namespace media {
namespace {

using link_test::hex;
using link_test::zeros;
using media_test::Bytes;
using media_test::stream_pictures;
using States = std::vector<uint32_t>;

constexpr const char* kRemove = "rm -rf /tmp/SD0/KRVMEDIA/VIDEO/tmpfile";

class Remux : public media_test::RemuxRig {
 protected:
  // The stream with its first key frame taken out: its parameter sets are followed by 90 pictures
  // that need it.
  static std::vector<Bytes> keyless_start() {
    std::vector<Bytes> packets = stream_pictures();
    packets[0] = media_test::without_slices(packets[0]);
    return packets;
  }
};

TEST_F(Remux, AStreamThatBeginsWithAKeyFrameIsWrittenWhole) {
  run(stream_pictures());
  EXPECT_EQ(states, (States{1, 2, 4}));
  EXPECT_EQ(media_test::read_file(output_), joined(stream_pictures(), 0, 240));
  EXPECT_EQ(media_test::probe(output_, "codec_name,width,height"), "h264,640,360");
  EXPECT_EQ(fake_base::commands(), (std::vector<std::string>{kRemove, "sync"}));
  EXPECT_EQ(fake_base::threads()[0].priority, 0);
}

TEST_F(Remux, NinetyPacketsWithoutAKeyFrameReportThreeTimes) {
  run(keyless_start());
  EXPECT_EQ(states, (States{1, 2, 3, 3, 3, 4}));
  // The output begins with the first key frame.
  EXPECT_EQ(media_test::read_file(output_), joined(stream_pictures(), 91, 240));
}

TEST_F(Remux, TheReportsFollowTheFrameRate) {
  remux_job.fps = 45;
  run(keyless_start());
  EXPECT_EQ(states, (States{1, 2, 3, 3, 4}));
}

TEST_F(Remux, AFrameRateOfZeroCountsAsThirty) {
  remux_job.fps = 0;
  run(keyless_start());
  EXPECT_EQ(states, (States{1, 2, 3, 3, 3, 4}));
}

TEST_F(Remux, StartedAndWaitingAreToldToTheApplication) {
  link_test::PeerCapture peer;
  run(keyless_start());
  const std::string command = "4c 00 00 20 41 " + zeros(24) + "02 00 00 00 00 ";
  std::vector<link_test::Bytes> sent = peer.all();
  ASSERT_EQ(sent.size(), 4U);
  const uint8_t first = sent[0][2];  // one sequence for everything that goes to the application
  for (size_t i = 0; i < sent.size(); i++) {
    EXPECT_EQ(sent[i][2], static_cast<uint8_t>(first + i));
    ASSERT_EQ(sent[i].size(), 41U);
    EXPECT_EQ(link_test::Bytes(sent[i].begin(), sent[i].begin() + 2), hex("fe 21"));
    EXPECT_EQ(link_test::Bytes(sent[i].begin() + 3, sent[i].end() - 2), hex("24 00 " + command));
  }
  size_t pauses = 0;
  for (const uint64_t us : fake_base::sleeps()) pauses += us == 200 ? 1 : 0;
  EXPECT_EQ(pauses, 4U);
}

TEST_F(Remux, WithoutAPacketTheJobFailsAfter500Pauses) {
  run({});
  EXPECT_EQ(states, (States{1, 5}));
  EXPECT_EQ(millisecond_pauses(), 500U);
  EXPECT_EQ(fake_base::commands(), (std::vector<std::string>{kRemove, kRemove}));
  EXPECT_FALSE(media_test::exists(output_));
}

TEST_F(Remux, StarvationBeforeTheHeaderFails) {
  const auto& pictures = stream_pictures();
  run({pictures.begin(), pictures.begin() + 3});
  EXPECT_EQ(states, (States{1, 5}));
  EXPECT_FALSE(media_test::exists(output_));
}

TEST_F(Remux, StarvationAfterTheHeaderFinishesTheFile) {
  const auto& pictures = stream_pictures();
  run({pictures.begin(), pictures.begin() + 150});
  EXPECT_EQ(states, (States{1, 2, 4}));
  EXPECT_EQ(media_test::read_file(output_), joined(pictures, 0, 150));
}

TEST_F(Remux, APauseShorterThanHalfASecondIsNoStarvation) {
  const auto& pictures = stream_pictures();
  std::vector<Bytes> packets(pictures.begin(), pictures.begin() + 150);
  // 499 empty tries, then the next packet.
  ASSERT_EQ(remux_start(), 0);
  base::format_text(remux_job.path, "%s", output_.c_str());
  remux_job.on_state = record_state;
  size_t next = 0;
  size_t tries = 0;
  fake_base::on_sleep([&](uint64_t us) {
    if (us != 1000 || next == packets.size()) return;
    if (next == 100 && ++tries < 499) return;
    remux_push_packet(packets[next].data(), static_cast<int32_t>(packets[next].size()));
    next++;
  });
  RemuxThread(nullptr);
  EXPECT_EQ(tries, 499U);
  EXPECT_EQ(states, (States{1, 2, 4}));
  EXPECT_EQ(media_test::read_file(output_), joined(pictures, 0, 150));
}

TEST_F(Remux, AStopBeforeTheHeaderFails) {
  run(stream_pictures(), output_, [](size_t pushed) {
    if (pushed == 2) remux_stop();
  });
  EXPECT_EQ(states, (States{1, 5}));
  EXPECT_FALSE(media_test::exists(output_));
}

TEST_F(Remux, AStopAfterTheHeaderFinishesTheFile) {
  run(stream_pictures(), output_, [](size_t pushed) {
    if (pushed == 120) remux_stop();
  });
  EXPECT_EQ(states, (States{1, 2, 4}));
  // What was pushed last is still inside the parser or in the list.
  const Bytes written = media_test::read_file(output_);
  const Bytes pushed = joined(stream_pictures(), 0, 120);
  ASSERT_GT(written.size(), joined(stream_pictures(), 0, 100).size());
  ASSERT_LE(written.size(), pushed.size());
  EXPECT_TRUE(std::equal(written.begin(), written.end(), pushed.begin()));
}

TEST_F(Remux, APacketBeyondTheRequestLosesItsRest) {
  const Bytes stream = joined(stream_pictures(), 0, 240);
  run({stream + stream});
  EXPECT_EQ(states, (States{1, 2, 4}));
  // The reader's buffer holds 2 MiB.
  const Bytes twice = stream + stream;
  ASSERT_GT(twice.size(), 2097152U);
  EXPECT_EQ(media_test::read_file(output_), Bytes(twice.begin(), twice.begin() + 2097152));
}

TEST_F(Remux, WhatIsNoVideoFails) {
  const std::string sound = folder_.path("sound.aac");
  media_test::make_recording(sound, {"-f", "lavfi", "-i", "sine=d=3", "-c:a", "aac"});
  run({media_test::read_file(sound)});
  EXPECT_EQ(states, (States{1, 5}));
  EXPECT_FALSE(media_test::exists(output_));
}

TEST_F(Remux, GarbageFails) {
  Bytes garbage(100000);
  uint32_t word = 1;
  for (uint8_t& byte : garbage) {
    word = word * 1664525 + 1013904223;
    byte = static_cast<uint8_t>(word >> 24);
  }
  run({garbage, garbage});
  EXPECT_EQ(states, (States{1, 5}));
  EXPECT_FALSE(media_test::exists(output_));
}

TEST_F(Remux, AFileThatCannotBeOpenedFails) {
  const std::string neighbour = folder_.path("neighbour");
  media_test::write_file(neighbour, {1, 2, 3});
  run(stream_pictures(), neighbour + "/tmpfile");
  EXPECT_EQ(states, (States{1, 5}));
  EXPECT_EQ(media_test::read_file(neighbour), (Bytes{1, 2, 3}));
  EXPECT_EQ(media_test::names_in(folder_.folder()), (std::vector<std::string>{"neighbour"}));
}

TEST_F(Remux, AFileThatCannotBeWrittenEndsTheLoop) {
  run(stream_pictures(), "/dev/full");
  EXPECT_EQ(states, (States{1, 2, 4}));
}

TEST_F(Remux, ASecondStartWhileAJobRunsIsRefused) {
  int32_t second = 0;
  run({}, output_, [&](size_t) {
    remux_stop();
    second = remux_start();
  });
  EXPECT_EQ(second, -1);
  EXPECT_EQ(remux_job.stop, 1U);  // the refused start has not taken the stop back
  EXPECT_EQ(fake_base::threads().size(), 1U);
  fake_base::reset();
  states.clear();
  run(stream_pictures());
  EXPECT_EQ(states, (States{1, 2, 4}));
}

TEST_F(Remux, WithoutAThreadTheJobHasFailed) {
  fake_base::fail_next_thread();
  EXPECT_EQ(remux_start(), -1);
  EXPECT_EQ(remux_job.state, 5U);
  EXPECT_EQ(remux_job.stop, 1U);
  EXPECT_EQ(fake_base::commands(), (std::vector<std::string>{kRemove, kRemove}));
  EXPECT_EQ(remux_push_packet("a", 1), -1);
  run({});
  EXPECT_EQ(states, (States{1, 5}));
}

TEST(RemuxStamp, CountsFramesInTheUnitsOfTheOutput) {
  OwnedPacket packet(av_packet_alloc());
  ASSERT_NE(packet, nullptr);
  const AVRational input = {1, 1200000};
  const AVRational output = {1, 90000};
  packet->pos = 17;
  remux_stamp(*packet, 0, 30, input, output);
  EXPECT_EQ(packet->pts, 0);
  EXPECT_EQ(packet->duration, 3000);  // 33333 us = 39999 ticks, 2999.925
  EXPECT_EQ(packet->pos, -1);
  remux_stamp(*packet, 1, 30, input, output);
  EXPECT_EQ(packet->pts, 3000);
  EXPECT_EQ(packet->dts, 3000);
  // The frame is 33333 whole microseconds long: 9999900 us after 300 of them, not 10 s.
  remux_stamp(*packet, 300, 30, input, output);
  EXPECT_EQ(packet->pts, 899991);
  remux_stamp(*packet, 7, 2000000, input, output);
  EXPECT_EQ(packet->pts, 0);
  EXPECT_EQ(packet->duration, 0);
}

}  // namespace
}  // namespace media
