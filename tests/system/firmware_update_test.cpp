// Firmware on a board with a small card: this board's own image from the application, and the
// images of other boards from the card. A process takes one transfer, so every test starts its own.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <random>

#include "firmware_sender.h"
#include "pushed_board.h"

namespace {

using namespace support;  // NOLINT
namespace fs = std::filesystem;

const std::string kCard = "/tmp/SD0/";
const std::string kReceived = kCard + "firmware";
const std::string kInPlace = kCard + "AmbaSysFW.bin";
const std::string kStep = kCard + "fwstep";
constexpr const char* kPhoto = "/tmp/SD0/KRVMEDIA/PIC/20200101_120000AA.JPG";

class FirmwareUpdate : public ::testing::Test {
 protected:
  FirmwareUpdate() {
    for (const auto& entry : fs::directory_iterator(kCard)) fs::remove_all(entry);
    write_file(kPhoto, "a photo that was there");
    peer.keep_alive();
  }
  ~FirmwareUpdate() override {
    EXPECT_TRUE(maintask->runs());
    EXPECT_EQ(read_file(kPhoto), "a photo that was there");
  }
  // Also a second time: the first process is killed.
  void start_program() {
    maintask.reset();
    const size_t mark = peer.mark();
    maintask = std::make_unique<RunningMaintask>();
    ASSERT_TRUE(peer.wait_for_id(0, seconds(10), mark));
  }
  // Announces the image; of what is asked for then, chunks from number 200 on are lost.
  static void serve_a_part(FirmwareSender& sender, milliseconds limit) {
    ASSERT_EQ(sender.announce(), 0);
    sender.start();
    EXPECT_EQ(sender.serve(limit, [](uint32_t index) { return index >= 200; }), std::nullopt);
  }
  static bool in_place(const std::string& content) {
    return poll_until([&] { return read_file(kInPlace) == content; }, seconds(5));
  }

  PeerLink peer;
  std::unique_ptr<RunningMaintask> maintask;
};

TEST_F(FirmwareUpdate, AnImageArrivesInSpiteOfLossReorderAndDuplicates) {
  CameraFake camera;
  camera.answer_session();
  start_program();
  ASSERT_TRUE(camera.wait_for(CameraFake::kSessionRequest, seconds(10)));
  ASSERT_TRUE(camera.wait_for("\"token\":7", seconds(10)));
  FirmwareSender sender(peer, firmware_image(1048577));
  ASSERT_EQ(sender.announce(), 0);
  sender.start();
  std::mt19937 random(20200101);
  uint32_t held_back = 0;
  const auto disturb = [&](uint32_t index) {
    if (random() % 50 == 0) return true;
    // Now and then an earlier one leaves first, and some leave twice.
    if (random() % 20 == 0) sender.send_chunk(std::exchange(held_back, index));
    if (random() % 20 == 0) sender.send_chunk(index);
    return false;
  };
  EXPECT_EQ(sender.serve(seconds(60), disturb), 0);
  EXPECT_GT(sender.rounds(), 1U);
  EXPECT_TRUE(in_place(sender.content()));
  EXPECT_FALSE(file_exists(kReceived));
  EXPECT_EQ(read_file(kStep), "M");
  EXPECT_TRUE(camera.wait_for("\"msg_id\":2817", seconds(10)));
  EXPECT_EQ(sender.start_again(), 0);
  EXPECT_EQ(sender.announce(), 4);
}

TEST_F(FirmwareUpdate, ABadMd5KeepsWhatWasInPlace) {
  write_file(kInPlace, "the firmware that was there");
  start_program();
  FirmwareSender sender(peer, firmware_image(100000));
  sender.claim_md5("d41d8cd98f00b204e9800998ecf8427e");
  ASSERT_EQ(sender.announce(), 0);
  sender.start();
  EXPECT_EQ(sender.serve(seconds(30)), 3);
  EXPECT_EQ(sender.start_again(), 4);
  EXPECT_EQ(read_file(kInPlace), "the firmware that was there");
  EXPECT_EQ(read_file(kReceived), sender.content());
  EXPECT_EQ(read_file(kStep), "T");
}

TEST_F(FirmwareUpdate, AFullCardEndsTheUpdateSilently) {
  write_file(kInPlace, "the firmware that was there");
  start_program();
  FirmwareSender sender(peer, firmware_image(400000));
  ASSERT_EQ(sender.announce(), 0);
  // Room for a part of it.
  const auto available = fs::space(kCard).available;
  write_file(kCard + "filler", std::string(available - 200000, 'x'));
  sender.start();
  EXPECT_EQ(sender.serve(seconds(5)), std::nullopt);
  EXPECT_GT(fs::file_size(kReceived), 0U);
  EXPECT_LT(fs::file_size(kReceived), 400000U);
  EXPECT_EQ(read_file(kInPlace), "the firmware that was there");
  EXPECT_EQ(read_file(kStep), "T");
  EXPECT_EQ(sender.start_again(), 4);
}

TEST_F(FirmwareUpdate, AfterARestartInTheMiddleItBeginsAnew) {
  start_program();
  FirmwareSender sender(peer, firmware_image(100000));
  serve_a_part(sender, milliseconds(700));
  start_program();
  EXPECT_EQ(read_file(kStep), "T");
  for (uint32_t i = 0; i < 417; i++) sender.send_chunk(i);
  EXPECT_EQ(sender.start_again(), 3);
  ASSERT_EQ(sender.announce(), 0);
  sender.start();
  EXPECT_EQ(sender.serve(seconds(30)), 0);
  EXPECT_TRUE(in_place(sender.content()));
  EXPECT_EQ(read_file(kStep), "M");
}

TEST_F(FirmwareUpdate, AnotherSenderGoesOnWhereTheFirstOneStopped) {
  start_program();
  FirmwareSender first(peer, firmware_image(100000));
  serve_a_part(first, milliseconds(500));
  FirmwareSender second(peer, firmware_image(100000));
  EXPECT_EQ(second.announce(), 4);
  EXPECT_EQ(second.start_again(), 4);
  EXPECT_EQ(second.serve(seconds(30), [](uint32_t index) { return index < 200; }), 0);
  EXPECT_TRUE(in_place(second.content()));
}

TEST_F(FirmwareUpdate, NonsenseIsHarmless) {
  start_program();
  FirmwareSender sender(peer, firmware_image(50000));
  sender.send_chunk(0);
  EXPECT_EQ(sender.start_again(), 3);
  const float infinity = std::numeric_limits<float>::infinity();
  for (const float size : {0.0F, -1.0F, std::nanf(""), 1e30F, -1e30F, infinity, 536870976.0F}) {
    EXPECT_EQ(sender.announce(size), 3) << size;
    sender.send_chunk(0);
  }
  std::mt19937 random(20200101);
  const auto send_noise = [&] {
    for (int i = 0; i < 3000; i++) {
      Bytes payload(random() % 256);
      for (auto& byte : payload) byte = static_cast<uint8_t>(random());
      // Everything but a start.
      if (!payload.empty()) payload[0] = static_cast<uint8_t>(random() % 2 == 0 ? 2 : 7);
      if (payload.size() > 6 && random() % 2 == 0) payload[3] = payload[4] = 0;
      peer.send(message(110, std::move(payload)));
      if (i % 100 == 0) let_pass(milliseconds(2));
    }
  };
  send_noise();
  ASSERT_EQ(sender.announce(536870912), 0);
  send_noise();
  ASSERT_EQ(sender.announce(), 0);
  for (const uint32_t index : {209U, 210U, 65536U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    sender.send_chunk(index);  // 209 is the count
  }
  sender.start();
  EXPECT_EQ(sender.serve(seconds(30)), 0);
  EXPECT_TRUE(in_place(sender.content()));
}

TEST_F(FirmwareUpdate, TheImagesOnTheCardArePushedOneAfterTheOther) {
  const Bytes gimbal_image = firmware_image(24001);
  const Bytes repeater_image = firmware_image(48000);
  write_file(kCard + "gimbalfw", std::string(gimbal_image.begin(), gimbal_image.end()));
  write_file(kCard + "repeatorfw", std::string(repeater_image.begin(), repeater_image.end()));
  start_program();
  FirmwareSender sender(peer, firmware_image(1000));
  PushedBoard gimbal(peer, 7);
  EXPECT_EQ(gimbal.receive(), gimbal_image);
  EXPECT_EQ(gimbal.md5, md5_of(kCard + "gimbalfw"));
  EXPECT_GE(gimbal.starts, 1U);
  PushedBoard repeater(peer, 5);
  EXPECT_EQ(repeater.receive(), repeater_image);
  EXPECT_EQ(repeater.md5, md5_of(kCard + "repeatorfw"));
  // Now this board listens to the application again.
  EXPECT_TRUE(poll_until([&] { return sender.announce() == 0; }, seconds(20)));
  EXPECT_TRUE(file_exists(kCard + "gimbalfw"));
}

TEST_F(FirmwareUpdate, ABoardThatGivesNoVerdictBlocksNeitherTheNextOneNorThisBoard) {
  const Bytes image = firmware_image(24001);
  for (const char* file : {"gimbalfw", "flyctrolfw"}) {
    write_file(kCard + file, std::string(image.begin(), image.end()));
  }
  start_program();
  for (const uint8_t type : {uint8_t{7}, uint8_t{3}}) {
    PushedBoard board(peer, type);
    board.silent = true;
    EXPECT_TRUE(board.receive() == image) << int{type};
  }
  FirmwareSender sender(peer, firmware_image(50000));
  EXPECT_TRUE(poll_until([&] { return sender.announce() == 0; }, seconds(20)));
  sender.start();
  EXPECT_EQ(sender.serve(seconds(30)), 0);
  EXPECT_TRUE(in_place(sender.content()));
}

}  // namespace
