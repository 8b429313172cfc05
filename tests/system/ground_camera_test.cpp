// The ground station against the whole camera: what a photo and a recording are called, a camera that
// dies during live video, and a trace of it all.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <map>

#include "ground_program.h"
#include "groundstation/link/pcap.h"
#include "photo_files.h"

namespace {

using namespace support;         // NOLINT
using namespace ground_program;  // NOLINT
namespace fs = std::filesystem;

// The camera with its service, ready for actions.
struct Camera {
  RunningCameraService service;
  RunningMaintask maintask;
  Camera() {
    for (const char* folder : {kPictures, kVideos}) fs::create_directories(folder);
    EXPECT_TRUE(poll_until(
        [] {
          return ground({"live", "--seconds", "0.5"}).status == 0;
        },
        seconds(60)));
  }
};

// Datagrams by the port they went to, of a capture file. Of one that was sent in several parts the
// first part tells.
std::map<uint16_t, int> datagrams_by_port(const std::string& path) {
  std::map<uint16_t, int> ports;
  groundstation::PcapReader reader;
  EXPECT_EQ(reader.open(path), "");
  while (const auto packet = reader.next()) {
    const std::vector<uint8_t>& bytes = packet->bytes;
    const size_t header = size_t{bytes[0] & 15U} * 4;
    const bool first = (bytes[6] & 0x1F) == 0 && bytes[7] == 0;
    if (bytes[9] != 17 || !first || bytes.size() < header + 8) continue;
    ports[static_cast<uint16_t>(bytes[header + 2] << 8 | bytes[header + 3])]++;
  }
  return ports;
}

TEST(GroundCamera, TellsAndFetchesWhatItHasMade) {
  Camera camera;
  const Told photo = ground({"photo", "--mode", "PW", "--get", "-o", "/tmp/fetched"});
  ASSERT_EQ(photo.status, 0) << photo.output << camera.maintask.process().output();
  const std::string name = photo.result["name"];
  EXPECT_NE(name.find("_PW01.JPG"), std::string::npos) << name;
  EXPECT_TRUE(read_file("/tmp/fetched/" + name) == read_file(kPictures + name));
  ASSERT_EQ(ground({"record", "start"}).status, 0);
  let_pass(seconds(3));
  const Told stop = ground({"record", "stop"});
  ASSERT_EQ(stop.status, 0) << stop.output;
  EXPECT_TRUE(file_exists(kVideos + stop.result["name"].get<std::string>())) << stop.output;
  const Told list = ground({"media", "list", "--long"});
  ASSERT_EQ(list.result["files"].size(), 2U) << list.output;
  for (const Json& file : list.result["files"]) {
    const std::string folder = file["kind"] == "photo" ? kPictures : kVideos;
    EXPECT_EQ(file["bytes"], fs::file_size(folder + file["name"].get<std::string>())) << file;
  }
}

TEST(GroundCamera, ListensBesideOtherPrograms) {
  Camera camera;
  fs::remove("/tmp/beside.pcap");
  ChildProcess trace(ground_command({"record-trace", "/tmp/beside.pcap"}), sanitizer_options());
  ASSERT_TRUE(poll_until([] { return file_exists("/tmp/beside.pcap"); }, seconds(20)));
  EXPECT_EQ(ground({"photo"}).status, 0);
  const Told live = ground({"live", "--seconds", "1"});
  EXPECT_EQ(live.status, 0) << live.output;
  trace.signal(SIGINT);
  ASSERT_TRUE(trace.wait_for_end(seconds(20)).has_value());
  const Told told = told_by(WEXITSTATUS(*trace.status()), trace.output());
  EXPECT_EQ(told.status, 0) << told.output;
  EXPECT_EQ(told.result["beside_others"], true);
  const auto ports = datagrams_by_port("/tmp/beside.pcap");
  EXPECT_GT(ports.at(8888), 10);
  EXPECT_GE(ports.at(8857), 4);  // two lists and what tells their ends
  EXPECT_GE(ports.at(8856), 10);
  // The same once more, against the same camera.
  const size_t photos = list_folder(kPictures).size();
  const Told replay = ground({"replay", "/tmp/beside.pcap"});
  EXPECT_EQ(replay.status, 0) << replay.output;
  EXPECT_TRUE(poll_until([&] { return list_folder(kPictures).size() == photos + 1; }, seconds(20)));
}

// What passes while the program gets no time has its own time all the same: a replay keeps the pace.
TEST(GroundCamera, TimesAreThoseOfThePackets) {
  Camera camera;
  fs::remove("/tmp/late.pcap");
  ChildProcess trace(ground_command({"record-trace", "/tmp/late.pcap"}), sanitizer_options());
  const auto packets = [] {
    std::vector<uint64_t> times;
    groundstation::PcapReader reader;
    EXPECT_EQ(reader.open("/tmp/late.pcap"), "");
    while (const auto packet = reader.next()) times.push_back(packet->at_us);
    return times;
  };
  ASSERT_TRUE(poll_until([&] { return file_exists("/tmp/late.pcap") && packets().size() > 3; },
                         seconds(20)));
  trace.signal(SIGSTOP);
  let_pass(seconds(6));
  trace.signal(SIGCONT);
  let_pass(seconds(1));
  trace.signal(SIGINT);
  ASSERT_TRUE(trace.wait_for_end(seconds(20)).has_value());
  const std::vector<uint64_t> times = packets();
  for (size_t i = 1; i < times.size(); i++) {
    // A status record comes every 300 ms.
    EXPECT_LT(times[i], times[i - 1] + 4'000'000) << i << " of " << times.size();
  }
}

TEST(GroundCamera, ACameraThatDiesDuringLiveVideoIs3) {
  Camera camera;
  ChildProcess live(ground_command({"live", "--seconds", "8", "--interval", "0.5"}),
                    sanitizer_options());
  ASSERT_TRUE(live.wait_for_line("\"ok\":true", seconds(30))) << live.output();
  camera.maintask.process().signal(SIGSTOP);
  ASSERT_TRUE(live.wait_for_end(seconds(30)).has_value());
  camera.maintask.process().signal(SIGCONT);
  const Told told = told_by(WEXITSTATUS(*live.status()), live.output());
  EXPECT_EQ(told.status, 3) << told.output;
  EXPECT_EQ(told.result["ok"], false);
  EXPECT_GE(told.result["stalls"], 1);
}

}  // namespace
