// The ground station's commands for firmware, the flight side and the factory, against the real
// programs on the board.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "base/descriptor.h"
#include "firmware_sender.h"
#include "flightlink/wire/reliable_udp.h"
#include "ground_program.h"
#include "support/fixtures.h"

namespace {

using namespace support;         // NOLINT
using namespace ground_program;  // NOLINT

const std::string kCard = "/tmp/SD0/";

std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// First in the file: it needs UDP 8866 of the board, which the programs of the other tests take.
TEST(GroundAck, AnswersTheAcknowledgedSender) {
  flightlink::reliable_udp_block_alarm();
  ASSERT_EQ(flightlink::reliable_udp_init(), 0);
  ASSERT_TRUE(poll_until([] { return flightlink::reliable_udp_context.ack_socket.load() != 0; },
                         seconds(5)));
  ChildProcess station(ground_command({"ack", "--port", "8899", "--count", "4", "--drop-every", "3",
                                       "-o", "/tmp/ack.out"}),
                       sanitizer_options());
  // The port is open once its line is in the table of the peer's network.
  ASSERT_TRUE(poll_until(
      [] {
        return run_command({"on-peer", "cat", "/proc/net/udp"}).output.find(":22C3 ") !=
               std::string::npos;
      },
      seconds(10)));
  const base::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(8899);
  inet_pton(AF_INET, "192.168.31.111", &to.sin_addr);
  // The third arrival is the third payload's; it is lost, and comes again after a time-out.
  for (const char* text : {"one", "two", "three", "four"}) {
    const int length = static_cast<int>(std::string(text).size());
    EXPECT_EQ(flightlink::reliable_udp_send(text, length, socket.get(), &to), length) << text;
  }
  ASSERT_TRUE(station.wait_for_end(seconds(10)).has_value());
  const Json result = told_by(0, station.output()).result;
  EXPECT_EQ(result["ok"], true) << station.output();
  EXPECT_EQ(result["datagrams"], 4);
  EXPECT_EQ(result["dropped"], 1);
  EXPECT_EQ(read_file("/tmp/ack.out"), "onetwothreefour");
}

TEST(GroundFirmware, SendsAnImageWithLoss) {
  const Bytes image = firmware_image(300001);
  write_file("/tmp/image", text_of(image));
  RunningMaintask maintask;
  const Told sent = ground({"firmware", "send", "/tmp/image", "--drop-every", "50"});
  EXPECT_EQ(sent.status, 0) << sent.output;
  EXPECT_EQ(sent.result["chunks"], 1251);
  EXPECT_EQ(sent.result["md5"], md5_of("/tmp/image"));
  EXPECT_GE(sent.result["chunks_dropped"], 25);
  EXPECT_TRUE(
      poll_until([&] { return read_file(kCard + "AmbaSysFW.bin") == text_of(image); }, seconds(5)));
  EXPECT_EQ(read_file(kCard + "fwstep"), "M");
  const Told again = ground({"firmware", "send", "/tmp/image"});
  EXPECT_EQ(again.status, 1);
  EXPECT_NE(again.output.find("one per start"), std::string::npos) << again.output;
  // The final report was missed, as it were.
  EXPECT_EQ(ground({"firmware", "send", "/tmp/image", "--resume"}).status, 0);
}

TEST(GroundFirmware, PlaysTheBoardsOneAfterTheOther) {
  const std::vector<std::pair<std::string, std::string>> boards{
      {"gimbalfw", "gimbal"}, {"flyctrolfw", "flight controller"}, {"repeatorfw", "repeater"}};
  for (const auto& [file, board] : boards) {
    write_file(kCard + file, text_of(firmware_image(20000 + file.size())));
  }
  RunningMaintask maintask;
  for (const auto& [file, board] : boards) {
    const Told served =
        ground({"firmware", "serve", "-o", "/tmp/served", "--force", "--drop-every", "10"});
    EXPECT_EQ(served.status, 0) << served.output;
    EXPECT_EQ(served.result["board"], board);
    EXPECT_GT(served.result["chunks_dropped"], 0);
    EXPECT_EQ(read_file("/tmp/served"), read_file(kCard + file)) << file;
  }
  for (const auto& [file, board] : boards) std::filesystem::remove(kCard + file);
}

TEST(GroundApp, SessionStickAndFramesOfBothDirections) {
  RunningMaintask applink("", {}, "applink");
  const base::Descriptor far(open("/dev/ttyS1.far", O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_TRUE(far.open());
  ChildProcess app(ground_command({"app", "--seconds", "4", "--heartbeats"}), sanitizer_options());
  ASSERT_TRUE(app.wait_for_line("\"binding\":true", seconds(10)));
  let_pass(milliseconds(500));
  const Told stick = ground({"stick", "010203", "ff", "--times", "3", "--rate", "100"});
  EXPECT_EQ(stick.status, 0) << stick.output;
  EXPECT_EQ(stick.result["datagrams"], 6);
  Bytes passed;
  pollfd readable{far.get(), POLLIN, 0};
  while (passed.size() < 12 && poll(&readable, 1, 2000) == 1) {
    uint8_t bytes[64];
    const ssize_t got = read(far.get(), bytes, sizeof bytes);
    if (got < 1) break;
    passed.insert(passed.end(), bytes, bytes + got);
  }
  EXPECT_EQ(passed, (Bytes{1, 2, 3, 255, 1, 2, 3, 255, 1, 2, 3, 255}));
  // Message 30 of a flight controller: system 1, sequence 9, payload 0 to 27, checksum FC93.
  Bytes frame{0xFE, 28, 9, 1, 0, 30};
  for (uint8_t i = 0; i < 28; i++) frame.push_back(i);
  frame.insert(frame.end(), {0x93, 0xFC});
  EXPECT_EQ(write(far.get(), frame.data(), frame.size()), static_cast<ssize_t>(frame.size()));
  EXPECT_TRUE(app.wait_for_line("\"payload\":\"00 01 02 03 ", seconds(3)));
  ASSERT_TRUE(app.wait_for_end(seconds(10)).has_value());
  const Json result = told_by(0, app.output()).result;
  EXPECT_EQ(result["ok"], true) << app.output();
  EXPECT_EQ(result["received"]["30"], 1);
  EXPECT_GE(result["received"]["0"], 8);
}

TEST(GroundApp, SaysThatASilentSessionWasEnded) {
  RunningMaintask applink("", {}, "applink");
  const Told told = ground({"app", "--silent"});
  EXPECT_EQ(told.status, 1) << told.output;
  EXPECT_NE(told.output.find("the camera ended the session"), std::string::npos);
  EXPECT_GT(told.result["seconds"], 9.0);
}

TEST(GroundFactory, ASheetOfAllTests) {
  write_file(kCard + "KRVMEDIA/testmode.conf", "");
  for (const char* folder : {kPictures, kVideos}) std::filesystem::create_directories(folder);
  RunningCameraService camera;
  ChildProcess module({BIN_DIR "/factorytest"}, sanitizer_options());
  ASSERT_TRUE(module.wait_for_line("set done!", seconds(10)));
  const char* mac = std::getenv("BOARD_WLAN0_MAC");
  ASSERT_NE(mac, nullptr);
  const std::vector<std::string> station{BIN_DIR "/groundstation", "--json", "factory", "--device",
                                         "/dev/ttyS1.far",         "--mac"};
  auto good = station;
  good.insert(good.end(),
              {mac, "uart_test", "sdcard_test", "snap_test", "record_test", "wifi_start_1"});
  const CommandResult run = run_command(good, seconds(60), sanitizer_options());
  const Json sheet = told_by(run.status, run.output).result;
  EXPECT_EQ(run.status, 0) << run.output;
  ASSERT_EQ(sheet["tests"].size(), 5U);
  for (const Json& row : sheet["tests"]) EXPECT_EQ(row["passed"], true) << row;
  EXPECT_EQ(read_file(kCard + "mac.txt").substr(0, 17), sheet["mac"]);
  auto bad = station;
  bad.insert(bad.end(), {"02:00:00:00:00:00", "record_test", "uart_test"});
  const CommandResult wrong = run_command(bad, seconds(60), sanitizer_options());
  EXPECT_EQ(wrong.status, 1) << wrong.output;
  const Json tests = told_by(1, wrong.output).result["tests"];
  ASSERT_EQ(tests.size(), 2U) << wrong.output;
  EXPECT_EQ(tests[0]["passed"], false);
  EXPECT_EQ(tests[1]["passed"], true);
}

}  // namespace
