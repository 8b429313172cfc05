// Telemetry of the peer as numbered logs on a small card: numbers, a full card, and a flood beside
// which everything else goes on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/scripted_suite.h"

namespace {

using namespace support;  // NOLINT
namespace fs = std::filesystem;

const std::string kCard = "/tmp/SD0/";
constexpr const char* kFlyctlId = "/tmp/SD0/FlyctlID";
constexpr const char* kGimbalId = "/tmp/SD0/GimbalID";

std::string flyctl_log(int number) {
  return kCard + "FlyctlDataLog" + std::to_string(number) + ".txt";
}
std::string gimbal_log(int number) {
  return kCard + "GimbalDataLog" + std::to_string(number) + ".txt";
}

// A record whose floats are all 0; the time stamp tells it from others.
Frame record(uint8_t id, uint32_t time, uint16_t last) {
  Bytes payload(id == 105 ? 62 : 64);
  for (size_t i = 0; i < 4; i++) payload[i] = static_cast<uint8_t>(time >> (8 * i));
  payload[60] = static_cast<uint8_t>(last);
  payload[61] = static_cast<uint8_t>(last >> 8);
  return message(id, payload);
}
std::string gimbal_line(uint32_t time, uint16_t last) {
  std::string line = std::to_string(time);
  for (int i = 0; i < 13; i++) line += ",0.00000";
  return line + "," + std::to_string(last) + "\n";
}
std::string flyctl_line(uint32_t time, const std::string& last) {
  std::string line = std::to_string(time);
  for (int i = 0; i < 13; i++) line += ",0.000";
  return line + "," + last + "\n";
}

class FlightLogs : public ScriptedSuite {
 protected:
  // The logs go on from test to test: nothing is brought back.
  void SetUp() override {}

  static void make_media_folder() { fs::create_directories("/tmp/SD0/KRVMEDIA"); }
  static void expect_content(const std::string& path, const std::string& wanted) {
    poll_until([&] { return read_file(path) == wanted; }, seconds(5));
    EXPECT_EQ(read_file(path), wanted) << path;
  }
  static bool fill_card() {
    std::ofstream file(kCard + "filler", std::ios::binary);
    const std::string block(65536, 'x');
    while (file.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
    }
    file.clear();
    file.close();
    std::ofstream rest(kCard + "rest", std::ios::binary);
    while (rest.write("x", 1).flush()) {
    }
    return fs::space(kCard).available == 0;
  }
  static void free_card() {
    fs::remove(kCard + "filler");
    fs::remove(kCard + "rest");
  }
};

// Ordered: the first one sees a card that no log was written on.
TEST_F(FlightLogs, ARecordIsALineOnACardWithItsMediaFolder) {
  fs::remove_all("/tmp/SD0/KRVMEDIA");
  board->peer.send(record(105, 1, 1));
  board->peer.send(record(107, 1, 1));
  ASSERT_TRUE(board->probe());
  EXPECT_EQ(list_folder(kCard), std::vector<std::string>());
  make_media_folder();
  board->peer.send(record(105, 4000000000, 65535));
  board->peer.send(record(107, 2, 7));
  board->peer.send(message(90, Bytes(33, 1)));
  board->peer.send(record(105, 3, 4));
  expect_content(gimbal_log(0), gimbal_line(4000000000, 65535) + gimbal_line(3, 4));
  expect_content(flyctl_log(0), flyctl_line(2, "007"));
  EXPECT_EQ(read_file(kGimbalId), "0\n");
  EXPECT_EQ(read_file(kFlyctlId), "0\n");
}

TEST_F(FlightLogs, ShortAndOddRecordsAreLinesToo) {
  make_media_folder();
  board->peer.send(record(105, 5, 6));
  ASSERT_TRUE(board->probe());
  const auto lines = [] {
    const std::string all = read_file(gimbal_log(0));
    return std::count(all.begin(), all.end(), '\n');
  };
  const auto before = lines();
  const size_t sizes[] = {0, 1, 7, 12, 61, 64, 255};
  for (const size_t size : sizes) board->peer.send(message(105, Bytes(size, 0xFF)));
  ASSERT_TRUE(board->probe());
  EXPECT_EQ(lines(), before + 7);
  const std::string all = read_file(gimbal_log(0));
  // 0xFFFFFFFF is not a number; the sign bit is printed.
  EXPECT_TRUE(all.ends_with(",-nan,-nan,65535\n")) << all.substr(all.size() - 60);
}

TEST_F(FlightLogs, AFloodOfRecordsLeavesTheOtherTrafficAlone) {
  make_media_folder();
  board->peer.send(record(105, 1, 1));
  ASSERT_TRUE(board->probe());
  const std::string before = read_file(gimbal_log(0));
  // A minute by hand: FLOOD_SECONDS=60.
  const char* wanted = std::getenv("FLOOD_SECONDS");
  const int length = wanted != nullptr ? std::atoi(wanted) : 3;
  mark = board->peer.mark();
  std::string expected = before;
  const Time start = Clock::now();
  for (uint32_t i = 0; i < static_cast<uint32_t>(length) * 1000; i++) {
    std::this_thread::sleep_until(start + milliseconds(i));
    board->peer.send(record(105, i, 2));
    expected += gimbal_line(i, 2);
    if (i % 500 == 250) {
      EXPECT_TRUE(board->probe()) << "after " << i << " records";
    }
  }
  // Nothing was lost, and our heartbeats and status records kept coming.
  poll_until([&] { return fs::file_size(gimbal_log(0)) >= expected.size(); }, seconds(10));
  EXPECT_TRUE(read_file(gimbal_log(0)) == expected);
  int heartbeats = 0;
  int records = 0;
  for (const Frame& frame : board->peer.frames(mark)) {
    if (frame.id == 0) heartbeats++;
    if (frame.id == 76 && frame.u16(28) == 2) records++;
  }
  EXPECT_GE(heartbeats, length - 1);         // one in a second
  EXPECT_GE(records, (length - 1) * 5 / 2);  // one in 300 ms
}

TEST_F(FlightLogs, AFullCardCostsTheLinesOnly) {
  make_media_folder();
  ASSERT_TRUE(fill_card());
  for (uint32_t i = 0; i < 40; i++) {
    board->peer.send(record(i % 2 == 0 ? 105 : 107, i, 1));
    let_pass(milliseconds(25));
  }
  EXPECT_TRUE(board->probe(seconds(10)));
  free_card();
  // The next line but one at the latest has a file again.
  board->peer.send(record(105, 70, 1));
  board->peer.send(record(105, 71, 1));
  ASSERT_TRUE(board->probe(seconds(10)));
  bool found = false;
  for (const std::string& name : list_folder(kCard)) {
    found = found || (name.starts_with("GimbalDataLog") &&
                      read_file(kCard + name).find(gimbal_line(71, 1)) != std::string::npos);
  }
  EXPECT_TRUE(found);
}

// The number of the first log of a program that starts on this card.
class FlightLogNumbers : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const auto& entry : fs::directory_iterator(kCard)) fs::remove_all(entry.path());
    fs::create_directories("/tmp/SD0/KRVMEDIA");
  }
  // `other`: a log that has to appear as well.
  static void expect_number(const std::string& log, const char* id_path, const std::string& id,
                            const std::string& other = "") {
    PeerLink peer;
    RunningMaintask maintask;
    peer.keep_alive();
    ASSERT_TRUE(peer.wait_for_id(0, seconds(15), 0));
    peer.send(record(105, 1, 1));
    peer.send(record(107, 1, 1));
    EXPECT_TRUE(poll_until(
        [&] {
          return file_exists(log) && fs::file_size(log) > 0 && read_file(id_path) == id &&
                 (other.empty() || file_exists(other));
        },
        seconds(10)))
        << log << " " << read_file(id_path);
    EXPECT_TRUE(maintask.runs());
  }
};

TEST_F(FlightLogNumbers, RiseAcrossRestarts) {
  expect_number(flyctl_log(0), kFlyctlId, "0\n");
  const std::string first = read_file(flyctl_log(0));
  expect_number(flyctl_log(1), kFlyctlId, "1\n");
  EXPECT_EQ(read_file(flyctl_log(0)), first);
  EXPECT_EQ(read_file(kGimbalId), "1\n");
}

TEST_F(FlightLogNumbers, AnIdFileWithTextCountsAs0) {
  write_file(kGimbalId, "abc\n");
  write_file(kFlyctlId, "$(touch /tmp/taken)\n12\n");
  expect_number(gimbal_log(1), kGimbalId, "1\n", flyctl_log(1));
  EXPECT_FALSE(file_exists("/tmp/taken"));
}

}  // namespace
