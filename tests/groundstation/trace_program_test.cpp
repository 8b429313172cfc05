// --trace, record-trace and replay.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <map>

#include "groundstation/fake_camera.h"
#include "groundstation/fake_media_camera.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/link/pcap.h"
#include "groundstation/live/sample_stream.h"
#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

using groundstation::PcapReader;
using groundstation::udp_datagram;
using ::testing::HasSubstr;

struct TraceFile : OwnPath {
  TraceFile() : OwnPath("trace.pcap") {}

  // How many datagrams went to each port.
  [[nodiscard]] std::map<uint16_t, int> ports() const {
    std::map<uint16_t, int> found;
    PcapReader reader;
    EXPECT_EQ(reader.open(path), "");
    uint64_t last_us = 0;
    while (const auto packet = reader.next()) {
      const auto datagram = udp_datagram(packet->bytes);
      EXPECT_TRUE(datagram.has_value());
      if (datagram.has_value()) found[ntohs(datagram->to.sin_port)]++;
      // Live video is taken in turns, so its datagrams may stand behind later ones.
      EXPECT_GT(packet->at_us + 1'000'000, last_us);
      last_us = packet->at_us;
    }
    return found;
  }
};

TEST(TraceProgram, RecordsWhatOneCommandExchanges) {
  const uint16_t live = free_port();
  FakeCamera camera({.live_port = live, .live = {join({kSps, kPps, kKey}), kPicture1, kPicture2}});
  TraceFile trace;
  const std::string command =
      fmt::format("--trace {} live --seconds 0.5 --port {}", trace.path, live);
  const auto figures = success(run_with_camera(camera.port(), command + " --json"));
  auto ports = trace.ports();
  EXPECT_GE(ports[camera.port()], 3);  // heartbeats and switches
  EXPECT_EQ(ports[live], figures["datagrams"]);
  EXPECT_EQ(ports.size(), 3U);  // and our own port
  expect_failure(run_with_camera(camera.port(), command), 1, "exists already");
}

TEST(TraceProgram, RecordsTheMediaChannel) {
  FakeMediaCamera media({.photos = {{"A.JPG", std::string(20'000, 'x')}}});
  TraceFile trace;
  const OwnPath file("A.JPG");
  success(run_program(
      fmt::format("--camera 127.0.0.1 --bind 127.0.0.1 --trace {} media --port {} get A.JPG -o {}",
                  trace.path, media.port(), file.path)));
  auto ports = trace.ports();
  EXPECT_GE(ports[media.port()], 2);
  // And our own port: the size, the begin and the end, and three datagrams of the file.
  ports.erase(media.port());
  ASSERT_EQ(ports.size(), 1U);
  EXPECT_GE(ports.begin()->second, 6);
}

TEST(TraceProgram, ReplaySendsTheGroundSideAgainAtItsPace) {
  TraceFile trace;
  std::vector<flightlink::MavlinkMessage> sent;
  uint16_t port = 0;
  {
    FakeCamera camera({});
    port = camera.port();
    EXPECT_EQ(
        run_with_camera(port, fmt::format("--trace {} status --watch --seconds 2.2", trace.path))
            .exit_code,
        0);
    EXPECT_EQ(run_program(fmt::format("replay {}", trace.path)).exit_code, 1);
    sent = camera.received();
  }
  FakeCamera other({});
  const auto told = success(run_with_camera(
      other.port(),
      fmt::format("replay --json {} --recorded-camera 127.0.0.1:{}", trace.path, port)));
  EXPECT_EQ(told["command"], "replay");
  EXPECT_EQ(told["sent"], sent.size());
  EXPECT_GT(told["received"], 10);
  EXPECT_GE(told["seconds"], told["recorded_seconds"]);
  EXPECT_GE(told["recorded_seconds"], 2.0);
  const auto received = other.received();
  ASSERT_EQ(received.size(), sent.size());
  for (size_t i = 0; i < sent.size(); i++) {
    EXPECT_EQ(received[i].msgid, sent[i].msgid);
    EXPECT_EQ(received[i].seq, sent[i].seq);
    EXPECT_EQ(received[i].checksum, sent[i].checksum);
  }
}

TEST(TraceProgram, ReplayWithoutACameraIs3) {
  TraceFile trace;
  FakeCamera camera({});
  ASSERT_EQ(run_with_camera(camera.port(), fmt::format("--trace {} status", trace.path)).exit_code,
            0);
  expect_failure(
      run_with_camera(free_port(), fmt::format("replay {} --recorded-camera 127.0.0.1:{}",
                                               trace.path, camera.port())),
      3, "is there a camera at 127.0.0.1:");
}

TEST(TraceProgram, ReplayOfAnotherFileIs1) {
  expect_failure(run_program("replay /etc/passwd"), 1, "/etc/passwd is no pcap file");
  expect_failure(run_program("replay /nowhere"), 1, "cannot read /nowhere: No such file");
}

// Words in front of a command that take its right to listen beside others.
std::string unprivileged() {
  return ::geteuid() == 0 ? "setpriv --bounding-set=-net_raw --inh-caps=-net_raw" : "";
}

TEST(TraceProgram, RecordTraceHoldsTheLinkWhereItMayNotListen) {
  FakeCamera camera({});
  TraceFile trace;
  const ProgramResult result = run_with_camera(
      camera.port(), fmt::format("record-trace {} --seconds 1.5", trace.path), "", unprivileged());
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_THAT(result.err, HasSubstr("this command holds the link itself"));
  auto ports = trace.ports();
  EXPECT_EQ(ports[camera.port()], 2);  // heartbeats
  EXPECT_EQ(ports.size(), 2U);
}

TEST(TraceProgram, RecordTraceWithoutACameraIs3) {
  TraceFile trace;
  expect_failure(
      run_with_camera(free_port(), fmt::format("record-trace {} --seconds 0.5", trace.path), "",
                      unprivileged()),
      3, "none of them from the camera");
}

TEST(TraceProgram, RecordTraceKeepsAFileThatIsThere) {
  expect_failure(run_with_camera(free_port(), "record-trace /etc/passwd"), 1, "exists already");
  expect_failure(run_with_camera(free_port(), "record-trace /nowhere/a.pcap"), 1,
                 "cannot write /nowhere/a.pcap");
}

}  // namespace
}  // namespace groundstation_test
