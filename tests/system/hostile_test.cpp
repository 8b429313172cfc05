// Bytes that nobody meant well: on the peer's port and from the camera service.
#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <random>
#include <string>

#include "support/scripted_suite.h"

namespace {

using namespace support;  // NOLINT

class Hostile : public ScriptedSuite {
 protected:
  void TearDown() override { expect_works(); }

  static void send(const Bytes& bytes) { board->peer.send_bytes(bytes); }
  // Whatever frame the parser believes to be in: these bytes complete it.
  static void flush_parser() { send(Bytes(300, 0)); }

  // A command goes the whole way to the camera service.
  static void expect_works() {
    ASSERT_TRUE(board->maintask.runs()) << board->maintask.process().output();
    flush_parser();
    bool arrived = false;
    for (int tries = 0; tries < 40 && !arrived; tries++) {
      arrived = board->probe(milliseconds(250));
    }
    EXPECT_TRUE(arrived) << board->maintask.process().output();
  }
  std::mt19937 random{20200101};
};

TEST_F(Hostile, DatagramsWithoutAFrameAreDroppedAndTheNextFrameWorks) {
  board->peer.fall_silent();
  const std::string before = board->maintask.process().output();
  for (size_t size = 1; size <= 60000; size = size * 3 + 1) {
    Bytes noise(size);
    for (auto& byte : noise) byte = static_cast<uint8_t>(random() % 0xFE);
    send(noise);
    EXPECT_TRUE(board->probe()) << size;
  }
  EXPECT_EQ(board->maintask.process().output(), before);  // silently
}

TEST_F(Hostile, ABadChecksumIsDroppedAndTheNextFrameWorks) {
  board->peer.fall_silent();
  const Bytes good = encode(board->probe_frame());
  for (const size_t position : {good.size() - 1, good.size() - 2, size_t{8}, size_t{2}}) {
    Bytes frame = good;
    frame[position] ^= 0x55;
    texts = board->camera.mark();
    send(frame);
    EXPECT_FALSE(board->camera.wait_for("\"msg_id\":16,", milliseconds(150), texts)) << position;
    send(good);
    EXPECT_TRUE(board->camera.wait_for("\"msg_id\":16,", seconds(3), texts)) << position;
  }
  EXPECT_TRUE(board->camera.send(R"({"rval":0,"msg_id":16})"));
}

TEST_F(Hostile, ATruncatedFrameCostsOnlyWhatCompletesIt) {
  board->peer.fall_silent();
  const Bytes whole = encode(stream_on(true));
  for (size_t size = 1; size < whole.size(); size++) {
    send(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    flush_parser();
    EXPECT_TRUE(board->probe()) << size;
  }
}

TEST_F(Hostile, RandomBytesAndOversizeDatagramsAreHarmless) {
  for (int round = 0; round < 300; round++) {
    Bytes noise(random() % (round % 50 == 0 ? 65000 : 1500));
    for (auto& byte : noise) byte = static_cast<uint8_t>(random());
    // Plenty of beginnings.
    for (size_t i = 0; i + 6 < noise.size(); i += 40) noise[i] = 0xFE;
    send(noise);
    if (round % 20 == 0) let_pass(milliseconds(5));
  }
}

TEST_F(Hostile, EveryMessageWithEveryLengthIsHarmless) {
  // The commands of the camera are refused in passing or answered by the scripted service, which
  // answers none of them.
  for (const uint8_t id : std::initializer_list<uint8_t>{0, 21, 24, 32, 56, 67, 76, 90, 105, 107,
                                                         110, 111, 120, 141, 142}) {
    for (size_t length = 0; length <= 255; length += (length < 40 ? 1 : 43)) {
      Bytes payload(length);
      for (auto& byte : payload) byte = static_cast<uint8_t>(random());
      board->peer.send(message(id, payload));
      if (length % 16 == 0) let_pass(milliseconds(1));
    }
    ASSERT_TRUE(board->maintask.runs()) << int{id} << board->maintask.process().output();
  }
  board->camera.drop();  // what was begun ends with the connection
}

TEST_F(Hostile, NumbersThatAreNoNumbersAreHarmless) {
  const float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                       std::numeric_limits<float>::infinity(),
                       -std::numeric_limits<float>::infinity(),
                       3e38F,
                       -3e38F,
                       -1.0F,
                       4294967296.0F,
                       1e-40F};
  for (const uint16_t command : std::initializer_list<uint16_t>{2, 203}) {
    for (const uint8_t component : std::initializer_list<uint8_t>{0, 14, 255}) {
      for (const float a : odd) {
        for (const float b : odd) {
          board->peer.send(command_long({.command = command,
                                         .param1 = a,
                                         .param2 = b,
                                         .param3 = a,
                                         .param4 = b,
                                         .param5 = a,
                                         .param6 = b,
                                         .param7 = a,
                                         .target_component = component}));
        }
      }
      let_pass(milliseconds(5));
    }
  }
  for (const float a : odd) board->peer.send(altitude(a));
  board->camera.drop();
}

TEST_F(Hostile, ACameraServiceThatTalksNonsenseIsHarmless) {
  const std::string members[] = {"\"rval\":0",
                                 "\"rval\":-1",
                                 "\"rval\":\"x\"",
                                 "\"rval\":{}",
                                 "\"param\":1e308",
                                 "\"param\":-1",
                                 "\"param\":[]",
                                 "\"type\":5",
                                 "\"type\":\"\"",
                                 "\"param\":\"\\u0000\"",
                                 "\"param\":\"C:\\\\\\\\AA\"",
                                 "\"param\":null"};
  for (int round = 0; round < 400; round++) {
    std::string text = "{";
    if (random() % 2 != 0) {
      // Everything but the replies that pause their handler for half a second or more.
      const int ids[] = {1, 2, 4, 5, 16, 260, 514, 4097, 4098, 4099, 2817, 8194, 99999, -1};
      text += "\"msg_id\":" + std::to_string(ids[random() % std::size(ids)]);
    } else {
      text += "\"notify_id\":" + std::to_string(static_cast<int>(random() % 16) - 1);
    }
    for (int i = 0; i < 3; i++) text += "," + members[random() % std::size(members)];
    text += "}";
    if (random() % 8 == 0) text.resize(random() % text.size());
    board->camera.send(text);
    if (round % 10 == 0) let_pass(milliseconds(10));
  }
  board->camera.drop();
  texts = board->camera.mark();
  EXPECT_TRUE(board->camera.wait_for("\"free\"", seconds(30), texts));
}

TEST_F(Hostile, AFloodFromTheCameraServiceIsReadInPieces) {
  std::string flood;
  while (flood.size() < 1000000) flood += R"({"msg_id":2817,"rval":0})";
  EXPECT_TRUE(board->camera.send(flood));
}

TEST_F(Hostile, AConnectionThatComesAndGoesIsFollowed) {
  board->camera.forget_answers();  // an answered session request pauses the client
  const int before = board->camera.connections();
  for (int i = 0; i < 20; i++) {
    board->camera.drop();
    let_pass(milliseconds(20));
  }
  EXPECT_GE(board->camera.connections() - before, 10 / kSlowdown);
  board->camera.answer_session();
  board->camera.drop();
}

}  // namespace
