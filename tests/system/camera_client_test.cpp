// How maintask cuts and understands what the camera service says, byte by byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/scripted_suite.h"

namespace {

using namespace support;  // NOLINT

// Notification 5 is answered with an SD report whose code byte is 255: a visible sign that an
// object has been handled.
constexpr const char* kVisible = R"({"notify_id":5,"param":"x"})";

class CameraTexts : public ScriptedSuite {
 protected:
  // How many SD reports with that code have come since the test began.
  size_t sd_reports(uint8_t code) const {
    size_t count = 0;
    for (const Frame& frame : board->peer.frames(mark)) {
      if (frame.id == 57 && frame.u8(10) == code) count++;
    }
    return count;
  }
  void expect_sd_reports(uint8_t code, size_t wanted) const {
    poll_until([&] { return sd_reports(code) >= wanted; }, seconds(5));
    let_pass(milliseconds(wanted == 0 ? 400 : 100));
    EXPECT_EQ(sd_reports(code), wanted) << "code " << int{code};
  }
  static void say(const std::string& text) { ASSERT_TRUE(board->camera.send(text)); }
  // The SD report code in the status record.
  bool wait_for_status_code(uint8_t code) const {
    return board->peer
        .wait_for_status([code](const Frame& f) { return (f.u8(2) >> 4) == code; }, seconds(5),
                         board->peer.mark())
        .has_value();
  }
  static bool wait_for_record(size_t from) {
    return board->peer.wait_for_status([](const Frame&) { return true; }, seconds(5), from)
        .has_value();
  }
};

TEST_F(CameraTexts, TwoObjectsInOneReadAreBothHandled) {
  say(std::string(kVisible) + kVisible);
  expect_sd_reports(255, 2);
}

TEST_F(CameraTexts, WhiteSpaceBetweenObjectsDoesNotMatter) {
  say(std::string(" \n") + kVisible + "\r\n\t" + kVisible + "\n");
  expect_sd_reports(255, 2);
}

TEST_F(CameraTexts, ANestedObjectLosesTheRestOfTheRead) {
  say(std::string(R"({"msg_id":3,"param":{"a":1}})") + kVisible);
  expect_sd_reports(255, 0);
  say(kVisible);
  expect_sd_reports(255, 1);
}

TEST_F(CameraTexts, AnObjectSplitOverTwoReadsIsLost) {
  const std::string text = kVisible;
  say(text.substr(0, 12));
  let_pass(milliseconds(200) * kSlowdown);
  say(text.substr(12));
  expect_sd_reports(255, 0);
  say(kVisible);
  expect_sd_reports(255, 1);
}

TEST_F(CameraTexts, AnObjectWithBothIdsRunsBoth) {
  say(R"({"rval":0,"msg_id":4,"notify_id":5,"param":"x"})");
  expect_sd_reports(255, 1);
  const auto acknowledgement = board->peer.wait_for_id(52, seconds(5), mark);
  ASSERT_TRUE(acknowledgement);
  EXPECT_EQ(acknowledgement->system, 36);
  // Subject 1, success.
  EXPECT_EQ(hex(acknowledgement->payload), "00 01 4c b4 00 00 00");
}

TEST_F(CameraTexts, AMissingResultCountsAsFailure) {
  say(R"({"msg_id":4})");
  const auto acknowledgement = board->peer.wait_for_id(52, seconds(5), mark);
  ASSERT_TRUE(acknowledgement);
  EXPECT_EQ(hex(acknowledgement->payload), "00 01 4c b4 04 00 00");
}

TEST_F(CameraTexts, AResultThatIsNoNumberCountsAsMissing) {
  say(R"({"rval":"0","msg_id":4})");
  const auto acknowledgement = board->peer.wait_for_id(52, seconds(5), mark);
  ASSERT_TRUE(acknowledgement);
  EXPECT_EQ(acknowledgement->u8(4), 4);
}

TEST_F(CameraTexts, OtherNotificationsAreIgnored) {
  for (const int id : {-1, 3, 7, 14, 1000000}) {
    say("{\"notify_id\":" + std::to_string(id) + ",\"param\":\"SD_ERROR\"}");
    let_pass(milliseconds(30));
  }
  expect_sd_reports(8, 0);
  // Without a text, notification 5 is ignored as well.
  say(R"({"notify_id":5,"param":5})");
  expect_sd_reports(255, 0);
}

TEST_F(CameraTexts, NonsenseIsDroppedAndTheNextReadWorks) {
  for (const std::string& nonsense :
       {std::string("}{"), std::string("{\"msg_id\":"), std::string("[1,2,3]"), std::string("null"),
        std::string("{\"msg_id\":{}}"), std::string("{\"msg_id\":\"769\"}"),
        std::string("{\"msg_id\":1e99,\"notify_id\":-1e99}"), std::string("\0\0\0", 3),
        std::string("{\"msg_id\":769,\"rval\":0,\"param\":[]}"), std::string(4095, '{'),
        std::string("{\"msg_id\":5,\"rval\":0,\"param\":1e300}"), std::string(100000, '['),
        "{\"notify_id\":1,\"param\":\"" + std::string(3000, 'A') + "\"}"}) {
    say(nonsense);
    let_pass(milliseconds(50) * kSlowdown);
  }
  // A photo was reported in passing; its acknowledgement takes a moment.
  let_pass(milliseconds(300));
  say(kVisible);
  EXPECT_TRUE(poll_until([&] { return sd_reports(255) >= 1; }, seconds(5)));
  EXPECT_EQ(board->camera.connections(), 1);
}

TEST_F(CameraTexts, AnErrorIsNotClearedByAnInsertion) {
  say(R"({"notify_id":1,"param":"SD_ERROR"})");
  expect_sd_reports(8, 1);
  EXPECT_TRUE(wait_for_status_code(8));
  texts = board->camera.mark();
  say(R"({"notify_id":1,"param":"SD_CARD_INSERTED"})");
  EXPECT_TRUE(board->camera.wait_for("\"msg_id\":4097", seconds(5), texts));
  EXPECT_TRUE(board->camera.wait_for("\"free\"", seconds(5), texts));
  let_pass(milliseconds(400));
  EXPECT_TRUE(wait_for_status_code(8));
  // Another state clears it.
  say(R"({"notify_id":1,"param":"SD_SPEED_OK"})");
  EXPECT_TRUE(wait_for_status_code(6));
}

TEST_F(CameraTexts, ACardWithoutSpaceHasNoSizes) {
  say(R"({"notify_id":1,"param":"SD_NO_SPACE"})");
  expect_sd_reports(7, 1);
  EXPECT_TRUE(board->peer.wait_for_status(
      [](const Frame& f) { return f.f32(8) == 0.0F && f.f32(12) == 0.0F; }, seconds(5), mark));
  // The query of the next card brings them back.
  say(R"({"notify_id":1,"param":"SD_CARD_INSERTED"})");
  EXPECT_TRUE(board->peer.wait_for_status(
      [](const Frame& f) { return f.f32(8) == 8192.0F && f.f32(12) == 4096.0F; }, seconds(5),
      board->peer.mark()));
}

TEST_F(CameraTexts, TheKindOfFileSystemIsReportedAndChangesNothing) {
  say(R"({"notify_id":1,"param":"SD_SPEED_OK"})");
  EXPECT_TRUE(wait_for_status_code(6));
  say(R"({"notify_id":2,"param":"SD_FORMAT_EXFAT"})");
  say(R"({"notify_id":2,"param":"SD_FORMAT_FAT32"})");
  expect_sd_reports(12, 1);
  expect_sd_reports(13, 1);
  EXPECT_TRUE(wait_for_status_code(6));
}

TEST_F(CameraTexts, AFailedQueryTellsWhatIsWrongWithTheCard) {
  board->camera.answer("\"msg_id\":4097,", R"({"rval":-1,"msg_id":4097})");
  say(R"({"notify_id":1,"param":"SD_CARD_INSERTED"})");
  expect_sd_reports(9, 1);
  EXPECT_TRUE(wait_for_status_code(9));  // unknown format, which no insertion clears
  texts = board->camera.mark();
  say(R"({"notify_id":1,"param":"SD_CARD_INSERTED"})");
  EXPECT_FALSE(board->camera.wait_for("4097", milliseconds(300), texts));
  board->camera.answer("\"msg_id\":4097,", R"({"rval":-2,"msg_id":4097})");
  say(R"({"notify_id":1,"param":"SD_SPEED_OK"})");
  say(R"({"notify_id":1,"param":"SD_CARD_INSERTED"})");
  expect_sd_reports(1, 1);
  EXPECT_TRUE(wait_for_status_code(1));  // no card
}

// Connections that are made while it lives hold a few texts only, instead of megabytes.
class ShortBuffers {
 public:
  ShortBuffers() {
    for (const char* name : {"tcp_wmem", "tcp_rmem"}) {
      before_.push_back(read_file(path(name)));
      write_file(path(name), "4096 4096 4096");
    }
  }
  ~ShortBuffers() {
    write_file(path("tcp_wmem"), before_[0]);
    write_file(path("tcp_rmem"), before_[1]);
  }
  ShortBuffers(const ShortBuffers&) = delete;
  ShortBuffers& operator=(const ShortBuffers&) = delete;

 private:
  static std::string path(const char* name) { return std::string("/proc/sys/net/ipv4/") + name; }
  std::vector<std::string> before_;
};

// The longest time between two status records, which leave every 300 ms, of those from `from` on.
Clock::duration longest_pause(const std::vector<Datagram>& sent, size_t from) {
  Clock::duration longest{};
  std::optional<Time> last;
  for (size_t i = from; i < sent.size(); i++) {
    const auto frame = decode(sent[i]);
    if (!frame || frame->id != 76 || frame->system != 36) continue;
    if (last) longest = std::max(longest, sent[i].arrived - *last);
    last = sent[i].arrived;
  }
  return last ? longest : Clock::duration::max();
}

TEST_F(CameraTexts, AServiceThatDoesNotReadBlocksNobodyElse) {
  const ShortBuffers buffers;
  board->camera.pause();
  board->camera.drop();
  let_pass(milliseconds(50) * kSlowdown);  // until the port is free
  board->camera.resume();
  board->reset();
  board->camera.stop_reading();
  // A record that waits for the sender leaves two seconds late, whenever a command is held up. A
  // machine that is busy may delay one now and then, but not each time.
  bool went_on = false;
  for (int held_up = 0; held_up < 4 && !went_on; held_up++) {
    const ChildProcess& program = board->maintask.process();
    const size_t given_up = program.count_lines("(line=140):send error!");
    const size_t from = board->peer.mark();
    EXPECT_TRUE(wait_for_record(from));
    // Until a command has waited its two seconds; the connection is given up for that.
    ASSERT_TRUE(poll_until(
        [&] {
          for (int i = 0; i < 10; i++) board->peer.send(board->probe_frame());
          return program.count_lines("(line=140):send error!") > given_up;
        },
        seconds(30)));
    EXPECT_TRUE(board->peer.wait_for_id(0, seconds(3), from));
    EXPECT_TRUE(wait_for_record(board->peer.mark()));
    went_on = longest_pause(board->peer.socket().received(), from) < seconds(2);
  }
  EXPECT_TRUE(went_on);
  // The new connection is read again.
  board->camera.read_on();
  board->reset();
  EXPECT_TRUE(board->probe());
}

}  // namespace
