// Every message that the camera side sends, byte for byte, as a socket at the peer's place gets it.
#include "flightlink/wire/reports.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "flightlink/link_suite.h"

namespace flightlink {
namespace {

TEST(Reports, CameraAcknowledgement) {
  in_fresh_process([] {
    PeerCapture peer;
    EXPECT_EQ(report_camera_ack(3, kResultFailed, 1), 15);
    EXPECT_EQ(peer.next(), hex("fe 07 00 24 00 34 00 03 4c b4 04 01 00 47 6e"));
  });
}

TEST(Reports, ClockReply) {
  in_fresh_process([] {
    PeerCapture peer;
    EXPECT_EQ(report_clock(kResultFailed), 15);
    EXPECT_EQ(peer.next(), hex("fe 07 00 24 00 34 00 00 6f 04 00 00 00 80 39"));
  });
}

TEST(Reports, SdReport) {
  in_fresh_process([] {
    PeerCapture peer;
    EXPECT_EQ(report_sd(1024.5F, 512.25F, 5), 19);
    EXPECT_EQ(peer.next(), hex("fe 0b 00 24 00 39 00 10 80 44 00 10 00 44 00 00 05 8a b8"));
  });
}

TEST(Reports, StatusRecordIsCutTo33Bytes) {
  in_fresh_process([] {
    PeerCapture peer;
    const Bytes bytes = hex("01 00 20 00 " + zeros(12) + "3c 3c 03 06 19 00 00 00 00 00 80 3f " +
                            "02 00 00 00 00 ee ee ee");
    uint8_t record[kStatusRecordSize];
    ASSERT_EQ(bytes.size(), sizeof(record));
    std::ranges::copy(bytes, record);
    EXPECT_EQ(report_status_record(record), 41);
    EXPECT_EQ(peer.next(), hex("fe 21 00 24 00 4c 01 00 20 00 " + zeros(12) +
                               "3c 3c 03 06 19 00 00 00 00 00 80 3f 02 00 00 00 00 73 7d"));
  });
}

TEST(Reports, RecordTick) {
  in_fresh_process([] {
    PeerCapture peer;
    EXPECT_EQ(report_record_tick(75), 41);
    EXPECT_EQ(peer.next(),
              hex("fe 21 00 24 00 4c 00 00 96 42 " + zeros(24) + "ca 00 00 03 00 5f 8d"));
  });
}

TEST(Reports, CommandAcknowledgementToTheApplication) {
  in_fresh_process([] {
    PeerCapture peer;
    EXPECT_EQ(report_command_ack(kAckPhoto, kResultOk), 11);
    EXPECT_EQ(peer.next(), hex("fe 03 00 24 00 4d d1 07 00 85 3d"));
  });
}

TEST(Reports, CommandAcknowledgementToTheFlightController) {
  in_fresh_process([] {
    PeerCapture peer;
    EXPECT_EQ(report_command_ack_flight(kAckRecordStart, kResultOk), 11);
    EXPECT_EQ(peer.next(), hex("fe 03 00 23 00 4d c4 09 00 70 47"));
  });
}

TEST(Reports, CameraReport) {
  in_fresh_process([] {
    PeerCapture peer;
    EXPECT_EQ(report_camera(kCameraReportPhoto), 41);
    EXPECT_EQ(peer.next(),
              hex("fe 21 00 23 00 4c 00 00 80 3f " + zeros(24) + "02 00 64 00 00 09 af"));
    report_camera(kCameraReportRecordStopped);
    EXPECT_EQ(peer.next(),
              hex("fe 21 01 23 00 4c 00 00 80 40 " + zeros(24) + "02 00 64 00 00 0d cd"));
  });
}

TEST(Reports, TimelapseReport) {
  in_fresh_process([] {
    PeerCapture peer;
    const TimelapseParameters parameters{5, {1.5F, -2.0F, 0.25F, 1000.0F}};
    EXPECT_EQ(report_timelapse(2, parameters), 41);
    EXPECT_EQ(peer.next(), hex("fe 21 00 23 00 4c 00 00 30 41 00 00 00 40 00 00 a0 40 "
                               "00 00 c0 3f 00 00 00 c0 00 00 80 3e 00 00 7a 44 "
                               "02 00 64 00 00 2c 1a"));
  });
}

TEST(Reports, ApplicationAndFlightControllerAreNumberedApart) {
  in_fresh_process([] {
    PeerCapture peer;
    report_camera(1);
    report_command_ack_flight(kAckRecordStop, 0);
    report_command_ack(kAckPhoto, kResultOk);
    report_camera_ack(1, 0, 0);
    report_record_tick(1);
    report_timelapse(0, {});
    // The explicit finaliser with the same system id has a counter of its own as well.
    MavlinkMessage message{};
    mavlink_frame_finalize(&message, kSystemFlightController, 3, 143);
    peer_udp_send(&message);
    std::vector<int> sequences;
    for (const Bytes& frame : peer.all()) sequences.push_back(frame[2]);
    EXPECT_THAT(sequences, ::testing::ElementsAre(0, 1, 0, 1, 2, 2, 0));
  });
}

TEST(Reports, WithoutAPeerSocketGiveMinusTwo) {
  in_fresh_process([] {
    EXPECT_EQ(report_camera_ack(1, 0, 0), -2);
    EXPECT_EQ(report_clock(0), -2);
    EXPECT_EQ(report_sd(1, 1, 1), -2);
    EXPECT_EQ(report_status_record({}), -2);
    EXPECT_EQ(report_record_tick(1), -2);
    EXPECT_EQ(report_command_ack(2001, 0), -2);
    EXPECT_EQ(report_command_ack_flight(2500, 0), -2);
    EXPECT_EQ(report_camera(1), -2);
    EXPECT_EQ(report_timelapse(0, {}), -2);
  });
}

}  // namespace
}  // namespace flightlink
