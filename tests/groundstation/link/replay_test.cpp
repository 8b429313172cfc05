#include "groundstation/link/replay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "groundstation/link/endpoint.h"
#include "groundstation/link/pcap.h"
#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

using groundstation::endpoint_text;
using groundstation::parse_endpoint;
using groundstation::PcapWriter;
using groundstation::Recording;
using ::testing::HasSubstr;

struct Line {
  uint64_t at_us;
  const char* from;
  const char* to;
  const char* text;
};

const sockaddr_in kUsual = *parse_endpoint("192.168.31.1:8888", 0);

// What is read of a file with these datagrams; `trouble` gets the sentence.
Recording read(const std::vector<Line>& lines, std::string* trouble = nullptr,
               const char* camera = nullptr) {
  const OwnPath file("trace.pcap");
  PcapWriter writer;
  EXPECT_EQ(writer.open(file.path, false), "");
  for (const Line& line : lines) {
    const std::string text = line.text;
    writer.datagram(line.at_us, *parse_endpoint(line.from, 0), *parse_endpoint(line.to, 0),
                    {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  }
  Recording recording;
  const std::string told = groundstation::read_recording(
      file.path, camera == nullptr ? std::nullopt : parse_endpoint(camera, 8888), kUsual,
      &recording);
  if (trouble == nullptr) {
    EXPECT_EQ(told, "");
  } else {
    *trouble = told;
  }
  return recording;
}

std::string text_of(const std::vector<uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(ReadRecording, KeepsTheGroundSideInItsOrderAndPace) {
  const Recording recording =
      read({{5'000'000, "192.168.31.1:8888", "192.168.31.111:8888", "beat"},
            {5'100'000, "192.168.31.111:8888", "192.168.31.1:8888", "one"},
            {5'400'000, "192.168.31.111:5000", "192.168.31.1:8857", "three"},
            {5'250'000, "192.168.31.111:8888", "192.168.31.1:8888", "two"},
            {5'500'000, "192.168.31.1:8857", "192.168.31.111:5000", "data"},
            {5'600'000, "192.168.31.111:53", "192.168.31.9:53", "other"}});
  EXPECT_EQ(endpoint_text(recording.camera), "192.168.31.1:8888");
  ASSERT_EQ(recording.datagrams.size(), 3U);
  const std::vector<std::pair<std::string, uint64_t>> expected{
      {"one", 0}, {"two", 150'000}, {"three", 300'000}};
  for (size_t i = 0; i < 3; i++) {
    EXPECT_EQ(text_of(recording.datagrams[i].bytes), expected[i].first);
    EXPECT_EQ(recording.datagrams[i].after_us, expected[i].second);
  }
  ASSERT_EQ(recording.roads.size(), 2U);
  EXPECT_EQ(recording.roads[0].from_port, 8888);
  EXPECT_EQ(recording.roads[0].datagrams, 2U);
  EXPECT_EQ(recording.roads[1].from_port, 5000);
  EXPECT_EQ(recording.roads[1].to_port, 8857);
  EXPECT_EQ(recording.datagrams[2].road, 1U);
}

TEST(ReadRecording, FindsACameraOfAnotherAddressByItsPorts) {
  for (const auto& [from, to] :
       {std::pair("10.0.0.2:5000", "10.0.0.1:8857"), std::pair("10.0.0.1:8857", "10.0.0.2:5000"),
        std::pair("10.0.0.1:4000", "10.0.0.2:8856"), std::pair("10.0.0.2:5000", "10.0.0.1:8867")}) {
    const Recording recording =
        read({{1, "10.0.0.2:8888", "10.0.0.1:8888", "one"}, {2, from, to, "two"}});
    EXPECT_EQ(endpoint_text(recording.camera), "10.0.0.1:8888") << to;
  }
}

TEST(ReadRecording, ACameraThatNothingTellsHasToBeNamed) {
  std::string trouble;
  read({{1, "10.0.0.2:8888", "10.0.0.1:8888", "one"}}, &trouble);
  EXPECT_THAT(trouble, HasSubstr("--recorded-camera"));
  EXPECT_EQ(
      read({{1, "10.0.0.2:8888", "10.0.0.1:8888", "one"}}, nullptr, "10.0.0.1").datagrams.size(),
      1U);
}

TEST(ReadRecording, OnOneAddressThePortsTell) {
  const Recording recording = read({{1, "127.0.0.1:5000", "127.0.0.1:4444", "out"},
                                    {2, "127.0.0.1:4444", "127.0.0.1:5000", "back"},
                                    {3, "127.0.0.1:5001", "127.0.0.1:8857", "ask"},
                                    {4, "127.0.0.1:8857", "127.0.0.1:5001", "answer"}},
                                   nullptr, "127.0.0.1:4444");
  ASSERT_EQ(recording.datagrams.size(), 2U);
  EXPECT_EQ(text_of(recording.datagrams[0].bytes), "out");
  EXPECT_EQ(text_of(recording.datagrams[1].bytes), "ask");
}

TEST(ReadRecording, SaysThatNothingWentToTheCamera) {
  std::string trouble;
  read({{1, "192.168.31.1:8888", "192.168.31.111:8888", "beat"}}, &trouble);
  EXPECT_THAT(trouble, HasSubstr("holds no UDP datagram to the camera, 192.168.31.1:8888"));
  read({}, &trouble);
  EXPECT_THAT(trouble, HasSubstr("--recorded-camera"));
}

TEST(ReadRecording, CountsWhatIsNoWholeDatagram) {
  const OwnPath file("trace.pcap");
  PcapWriter writer;
  ASSERT_EQ(writer.open(file.path, false), "");
  std::vector<uint8_t> packet(40);
  const uint8_t head[] = {0x45, 0, 0, 40, 0, 0, 0, 0, 64, 6, 0, 0, 10, 0, 0, 2, 192, 168, 31, 1};
  std::copy(std::begin(head), std::end(head), packet.begin());
  writer.packet(1, packet);  // TCP
  writer.datagram(2, *parse_endpoint("10.0.0.2:8888", 0), kUsual, {});
  Recording recording;
  EXPECT_EQ(groundstation::read_recording(file.path, std::nullopt, kUsual, &recording), "");
  EXPECT_EQ(recording.left_out, 1U);
  EXPECT_EQ(recording.datagrams.size(), 1U);
}

}  // namespace
}  // namespace groundstation_test
