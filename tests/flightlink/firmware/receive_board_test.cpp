// The receive thread's work from the first request to the image in its place. Shell commands are
// the recording fake's, files are on the board's card.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <numeric>

#include "flightlink/firmware/boards.h"
#include "flightlink/firmware/firmware_rig.h"
#include "flightlink/firmware/step_file.h"
#include "support/board_files.h"
#include "support/camera_socket.h"

namespace flightlink {
namespace {

using link_test::Sent;

constexpr const char* kMd5Command = "read /bin/md5sum /tmp/SD0/firmware | awk '{print $1}'";
constexpr const char* kMove = "run mv /tmp/SD0/firmware /tmp/SD0/AmbaSysFW.bin";

class FirmwareReceiving : public link_test::FirmwareTest {
 protected:
  FirmwareReceiving() { clean(); }
  ~FirmwareReceiving() override { clean(); }
  static void clean() {
    for (const char* name : {"firmware", "AmbaSysFW.bin", "fwstep", "gimbalfw"}) {
      std::filesystem::remove_all(std::string("/tmp/SD0/") + name);
    }
    firmware_init();
  }

  // Byte i of the image; tells every chunk from its neighbours.
  static Bytes image(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; i++) bytes[i] = static_cast<uint8_t>(i / 240 * 7 + i % 240);
    return bytes;
  }
  static std::string text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
  static void feed(const Bytes& whole, uint32_t index) {
    const size_t from = size_t{index} * 240;
    const size_t to = std::min(whole.size(), from + 240);
    chunk(index, Bytes(whole.begin() + static_cast<ptrdiff_t>(from),
                       whole.begin() + static_cast<ptrdiff_t>(to)));
  }
  static void feed_all(const Bytes& whole) {
    for (uint32_t i = 0; size_t{i} * 240 < whole.size(); i++) feed(whole, i);
  }
  // Announces and starts, and takes the answer away.
  void begin(const Bytes& whole) {
    ASSERT_EQ(announce(static_cast<float>(whole.size())), 0);
    ASSERT_EQ(start(), 0);
    next();
  }
  static void md5sum_says(const std::string& md5) { fake_base::push_shell_line(md5 + "\n"); }
  static void run() { EXPECT_EQ(FirmwareReceiveThread(nullptr), nullptr); }
};

TEST_F(FirmwareReceiving, AGoodImageComesIntoItsPlace) {
  link_test::CameraSocket camera;
  const Bytes whole = image(481);
  begin(whole);
  feed_all(whole);
  md5sum_says(link_test::kMd5);
  run();
  EXPECT_THAT(fake_base::events(), ElementsAre("run sync", kMd5Command, kMove, "sleep 1000000"));
  EXPECT_EQ(support::read_file("/tmp/SD0/firmware"), text(whole));
  EXPECT_EQ(support::read_file(kFirmwareStepFile), "M");
  EXPECT_EQ(camera.sent(), "{\"msg_id\":2817,\"token\":7}");
  expect_report("", "03 04 00");
  expect_nothing_sent();
  EXPECT_EQ(start(), -1);
  expect_report("", "03 04 00");
  EXPECT_EQ(announce(481), -1);
  expect_report("", "01 04 04");
}

TEST_F(FirmwareReceiving, NineMissingChunksAreTwoReports) {
  const Bytes whole = image(2160);
  begin(whole);
  md5sum_says(link_test::kMd5);
  std::vector<uint64_t> pauses;
  std::vector<Sent> requests;
  fake_base::on_sleep([&](uint64_t us) {
    pauses.push_back(us);
    for (const Sent& sent : all()) requests.push_back(sent);
    EXPECT_EQ(support::read_file(kFirmwareStepFile), us == 1000000 ? "M" : "T");
    if (us == 200000) feed_all(whole);
  });
  run();
  EXPECT_THAT(pauses, ElementsAre(1000, 200000, 1000000));
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(requests[0].system, 36);
  EXPECT_EQ(requests[0].payload,
            link_test::hex("00 00 00 00 00 00 80 3f 00 00 00 40 00 00 40 40 00 00 80 40 "
                           "00 00 a0 40 00 00 c0 40 04 00 02 04 00"));
  EXPECT_EQ(requests[1].payload,
            link_test::hex(link_test::slots("00 00 e0 40 00 00 00 41") + "04 00 02 04 00"));
  EXPECT_EQ(requests[2].payload, link_test::hex(link_test::slots("") + "04 00 03 04 00"));
}

TEST_F(FirmwareReceiving, SevenMissingChunksAreOneReport) {
  const Bytes whole = image(1680);
  begin(whole);
  md5sum_says(link_test::kMd5);
  size_t requests = 0;
  fake_base::on_sleep([&](uint64_t us) {
    requests += all().size();
    if (us == 200000) feed_all(whole);
  });
  run();
  EXPECT_EQ(requests, 2U);  // and the final report
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(1000, 200000, 1000000));
}

TEST_F(FirmwareReceiving, LossReorderAndDuplicatesAreMadeGood) {
  // 40 chunks come in reverse and twice, and of each round every third one is lost.
  const Bytes whole = image(9600);
  begin(whole);
  md5sum_says(link_test::kMd5);
  std::vector<uint32_t> wanted;
  int lost = 0;
  int rounds = 0;
  fake_base::on_sleep([&](uint64_t us) {
    for (const Sent& sent : all()) {
      if (sent.payload[30] != 2) continue;
      for (size_t i = 0; i < 7; i++) {
        const float slot = base::load_f32le(sent.payload.data() + 4 * i);
        if (slot < 4294967296.0F) wanted.push_back(static_cast<uint32_t>(slot));
      }
    }
    if (us != 200000) return;
    rounds++;
    std::ranges::reverse(wanted);
    for (const uint32_t index : wanted) {
      if (++lost % 3 == 0) continue;
      feed(whole, index);
      feed(whole, index);
    }
    wanted.clear();
  });
  run();
  EXPECT_EQ(support::read_file("/tmp/SD0/firmware"), text(whole));
  EXPECT_GT(rounds, 2);
  EXPECT_EQ(firmware_receive.received, 80U);
}

TEST_F(FirmwareReceiving, TheExtraChunkAndLateOnesChangeNoFile) {
  const Bytes whole = image(481);
  begin(whole);
  feed_all(whole);
  chunk(3, Bytes(240, 0xFF));
  chunk(2, Bytes(240, whole[480]));  // longer than the remainder
  fake_base::on_command([&](const std::string&) { chunk(0, Bytes(240, 0xFF)); });
  md5sum_says(link_test::kMd5);
  run();
  EXPECT_EQ(support::read_file("/tmp/SD0/firmware"), text(whole));
}

TEST_F(FirmwareReceiving, LargeImagesAreWrittenTenBlocksAtATime) {
  // 700000 = 21 x 32768 + 11872: ten blocks, ten blocks, one block, the rest.
  const Bytes whole = image(700000);
  begin(whole);
  feed_all(whole);
  md5sum_says(link_test::kMd5);
  run();
  EXPECT_THAT(fake_base::sleeps(), ElementsAre(6000, 6000, 6000, 1000000));
  EXPECT_EQ(support::read_file("/tmp/SD0/firmware"), text(whole));
}

TEST_F(FirmwareReceiving, ABadMd5LeavesTheImageAndAnswers4FromThenOn) {
  const Bytes whole = image(481);
  std::ofstream("/tmp/SD0/AmbaSysFW.bin") << "the one that was there";
  begin(whole);
  feed_all(whole);
  md5sum_says("0123456789abcdef0123456789abcdee");
  run();
  expect_report("", "03 04 03");
  EXPECT_THAT(fake_base::events(), ElementsAre("run sync", kMd5Command));
  EXPECT_EQ(support::read_file("/tmp/SD0/firmware"), text(whole));
  EXPECT_EQ(support::read_file("/tmp/SD0/AmbaSysFW.bin"), "the one that was there");
  EXPECT_EQ(support::read_file(kFirmwareStepFile), "T");
  EXPECT_EQ(firmware_receive.update_state, 0);
  EXPECT_EQ(start(), -1);
  expect_report("", "03 04 04");
}

TEST_F(FirmwareReceiving, AnMd5ProgramThatFailsIsABadMd5) {
  const Bytes whole = image(1);
  begin(whole);
  feed_all(whole);
  run();
  expect_report("", "03 04 03");
  EXPECT_EQ(support::read_file(kFirmwareStepFile), "T");
}

TEST_F(FirmwareReceiving, AFileThatCannotBeOpenedEndsSilently) {
  std::filesystem::create_directory("/tmp/SD0/firmware");
  const Bytes whole = image(481);
  begin(whole);
  feed_all(whole);
  run();
  expect_nothing_sent();
  EXPECT_THAT(fake_base::events(), IsEmpty());
  EXPECT_EQ(start(), -1);
  expect_report("", "03 04 04");
}

TEST_F(FirmwareReceiving, TheHoldFlagKeepsTheImageWhereItIs) {
  link_test::CameraSocket camera;
  const Bytes whole = image(240);
  firmware_receive.hold = 1;
  begin(whole);
  feed_all(whole);
  md5sum_says(link_test::kMd5);
  run();
  expect_report("", "03 04 00");
  EXPECT_THAT(fake_base::events(), ElementsAre("run sync", kMd5Command));
  EXPECT_EQ(support::read_file(kFirmwareStepFile), "M");
  EXPECT_EQ(camera.sent(), "");
}

TEST_F(FirmwareReceiving, WhileAnotherBoardsImageIsPendingNothingIsReceived) {
  std::ofstream("/tmp/SD0/gimbalfw") << "x";
  firmware_init();
  EXPECT_EQ(announce(481), 0);
  EXPECT_EQ(start(), 0);
  EXPECT_EQ(chunk(0, {1}), 0);
  EXPECT_EQ(firmware_receive.image, nullptr);
  EXPECT_THAT(fake_base::threads(), IsEmpty());
  expect_nothing_sent();
}

}  // namespace
}  // namespace flightlink
