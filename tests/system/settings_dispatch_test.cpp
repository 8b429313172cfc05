// COMMAND_LONG 180 and 203 from the peer down to the texts at the camera service: what each number
// sets, when it is refused, and odd values.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "support/scripted_suite.h"

namespace {

using namespace support;  // NOLINT

std::string set_text(const std::string& param, const std::string& type) {
  return R"({"msg_id":2,"token":7,"param":")" + param + R"(","type":")" + type + "\"}";
}

class SettingsDispatch : public ScriptedSuite {
 protected:
  void SetUp() override {
    ScriptedSuite::SetUp();
    for (const char* type : {"color_style", "video_quality", "scene_white_balance", "fix_iso_value",
                             "fix_exposure", "set_manual_ae_mode", "saturation", "contrast",
                             "sharpness", "piv_format", "sec_stream_stamp"}) {
      answer_set(type, 0);
    }
  }

  // What a set of that type is answered with.
  static void answer_set(const std::string& type, int rval) {
    board->camera.answer(
        R"(","type":")" + type + "\"}",
        R"({"rval":)" + std::to_string(rval) + R"(,"msg_id":2,"type":")" + type + "\"}");
  }
  static void leave_unanswered(const std::string& type) {
    board->camera.answer(R"(","type":")" + type + "\"}", "");
  }
  static void set(int sub, float value) {
    board->peer.send(command_long(
        {.command = 180, .param1 = value, .target_component = static_cast<uint8_t>(sub)}));
  }
  // The setting reaches the camera as that text, and its answer is worked off.
  void expect_sent(int sub, float value, const std::string& text) {
    texts = board->camera.mark();
    set(sub, value);
    EXPECT_TRUE(board->camera.wait_for(text, seconds(5), texts)) << sub << ": " << text;
    let_pass(milliseconds(60) * kSlowdown);
  }
  // Nothing of the kind is sent within a while.
  void expect_nothing(const std::string& part = "\"msg_id\"") const {
    let_pass(milliseconds(200) * kSlowdown);
    EXPECT_EQ(board->camera.count(part, texts), 0U) << part;
  }
  void expect_iso_refused() {
    texts = board->camera.mark();
    set(6, 300);
    expect_nothing("fix_iso_value");
  }
};

TEST_F(SettingsDispatch, EachComponentSetsItsSetting) {
  expect_sent(3, 1, set_text("BlackAndWhite", "color_style"));
  expect_sent(4, 1, set_text("fine", "video_quality"));
  expect_sent(5, 2, set_text("Cloudy", "scene_white_balance"));
  expect_sent(6, 200, set_text("200", "fix_iso_value"));
  expect_sent(7, 5000, set_text("5000", "fix_exposure"));
  expect_sent(11, 61, set_text("61", "saturation"));
  expect_sent(12, 59, set_text("59", "contrast"));
  expect_sent(13, 5, set_text("5", "sharpness"));
  expect_sent(15, 0, set_text("JPG", "piv_format"));
  expect_sent(21, 1, set_text("OFF", "sec_stream_stamp"));
  expect_sent(8, 1, set_text("on", "set_manual_ae_mode"));
}

TEST_F(SettingsDispatch, AnExposureIsAcknowledged) {
  expect_sent(7, 0, set_text("0", "fix_exposure"));
  const auto done = board->peer.wait_for_id(52, seconds(5), mark);
  ASSERT_TRUE(done);
  EXPECT_EQ(done->system, 36);
  EXPECT_EQ(done->u8(1), 7);
  EXPECT_EQ(done->u8(4), 0);
}

TEST_F(SettingsDispatch, UnlistedComponentsSendNothing) {
  for (const int sub : {0, 10, 14, 22, 100, 255}) set(sub, 1);
  expect_nothing();
  expect_sent(6, 100, set_text("100", "fix_iso_value"));
}

TEST_F(SettingsDispatch, OddValuesAreTruncatedAndSaturated) {
  const float infinity = std::numeric_limits<float>::infinity();
  expect_sent(11, 59.9F, set_text("59", "saturation"));
  expect_sent(11, -0.5F, set_text("0", "saturation"));
  expect_sent(11, std::numeric_limits<float>::quiet_NaN(), set_text("0", "saturation"));
  expect_sent(11, 1e30F, set_text("2147483647", "saturation"));
  expect_sent(11, -infinity, set_text("-2147483648", "saturation"));
  texts = board->camera.mark();
  for (const int sub : {2, 3, 4, 5, 17}) {
    for (const float value : {-1.0F, 31.0F, 1e30F, -infinity}) set(sub, value);
  }
  expect_nothing();
}

TEST_F(SettingsDispatch, ShortCommandsAreReadAsZeros) {
  const Frame whole = command_long({.command = 180, .param1 = 99, .target_component = 6});
  for (const size_t size : {size_t{0}, size_t{4}, size_t{28}, size_t{29}, size_t{31}}) {
    Frame cut = whole;
    cut.payload.resize(size);
    board->peer.send(cut);
  }
  expect_nothing();
  Frame without_confirmation = whole;
  without_confirmation.payload.resize(32);
  board->peer.send(without_confirmation);
  EXPECT_TRUE(board->camera.wait_for(set_text("99", "fix_iso_value"), seconds(5), texts));
}

TEST_F(SettingsDispatch, AnUnansweredSettingRefusesTheNext) {
  leave_unanswered("sharpness");
  expect_sent(13, 1, set_text("1", "sharpness"));
  expect_iso_refused();
  for (int sub = 0; sub <= 22; sub++) set(sub, 1);
  expect_nothing();
  // A refusal of the camera makes it idle just as well.
  ASSERT_TRUE(board->camera.send(R"({"rval":-1,"msg_id":2,"type":"sharpness"})"));
  let_pass(milliseconds(60) * kSlowdown);
  expect_sent(6, 300, set_text("300", "fix_iso_value"));
}

TEST_F(SettingsDispatch, AnUnansweredPhotoModeSwitchOrCardQueryRefusesSettings) {
  struct Row {
    Frame request;
    const char* text;
    const char* answer;
    milliseconds handling;  // a photo's failure takes a second, a card's sizes two more queries
  };
  const Row rows[] = {
      {command_long({.command = 2, .param1 = 1}), "\"msg_id\":769,", R"({"rval":-1,"msg_id":769})",
       milliseconds(1200)},
      {command_long({.command = 2, .param1 = 2}), "\"msg_id\":772,", R"({"rval":-1,"msg_id":772})",
       milliseconds(200)},
      {message(56, Bytes(2)), "\"msg_id\":4097,", R"({"rval":0,"msg_id":4097})", milliseconds(300)},
  };
  for (const Row& row : rows) {
    board->camera.answer(row.text, "");
    texts = board->camera.mark();
    board->peer.send(row.request);
    ASSERT_TRUE(board->camera.wait_for(row.text, seconds(5), texts)) << row.text;
    expect_iso_refused();
    ASSERT_TRUE(board->camera.send(row.answer));
    let_pass(row.handling * kSlowdown);
    expect_sent(6, 300, set_text("300", "fix_iso_value"));
  }
}

TEST_F(SettingsDispatch, AFormatIsSentOnceAndRefusesSettings) {
  const std::string format = R"({"msg_id":4,"token":7,"param":"C"})";
  set(1, 0);
  ASSERT_TRUE(board->camera.wait_for(format, seconds(5), texts));
  set(1, 0);
  let_pass(milliseconds(200));
  EXPECT_EQ(board->camera.count("\"msg_id\":4,", texts), 1U);
  expect_iso_refused();
  ASSERT_TRUE(board->camera.send(R"({"rval":-1,"msg_id":4})"));
  let_pass(milliseconds(300) * kSlowdown);
  expect_sent(6, 300, set_text("300", "fix_iso_value"));
}

TEST_F(SettingsDispatch, WithoutACameraNothingIsKeptForLater) {
  board->camera.pause();
  board->camera.drop();
  let_pass(milliseconds(200));
  set(6, 300);
  set(1, 0);
  let_pass(milliseconds(100));
  texts = board->camera.mark();
  board->camera.resume();
  ASSERT_TRUE(board->camera.wait_for("\"free\"", seconds(15), texts));
  let_pass(milliseconds(100));
  EXPECT_EQ(board->camera.count("fix_iso_value", texts), 0U);
  EXPECT_EQ(board->camera.count("\"msg_id\":4,", texts), 0U);
  expect_sent(6, 300, set_text("300", "fix_iso_value"));
}

TEST_F(SettingsDispatch, ATimelapseIsForVideoMode) {
  board->peer.send(
      command_long({.command = 180, .param1 = 5, .param3 = 5, .target_component = 16}));
  expect_nothing();
}

TEST_F(SettingsDispatch, LinkQualityReportsMoveTheStreamRate) {
  board->camera.answer("\"msg_id\":16,", R"({"rval":0,"msg_id":16})");
  const auto rate_follows = [this](const std::string& rate) {
    EXPECT_TRUE(board->camera.wait_for(R"({"msg_id":16,"token":7,"param":")" + rate + "\"}",
                                       seconds(5), texts))
        << rate;
    let_pass(milliseconds(50) * kSlowdown);
    texts = board->camera.mark();
  };
  const auto report = [](float param1, float param2, float param7) {
    board->peer.send(command_long({.command = 203,
                                   .param1 = param1,
                                   .param2 = param2,
                                   .param7 = param7,
                                   .target_component = 14}));
  };
  board->peer.send(command_long({.command = 2, .param1 = 9, .param2 = 2}));
  rate_follows("512");
  // The signal has chosen the rate: reports do nothing until another command has come.
  report(100, 127, 0);
  expect_nothing();
  board->peer.send(command_long({.command = 2, .param1 = 5}));
  for (int i = 1; i <= 10; i++) report(200, 0, 200);
  expect_nothing();
  report(-1, 0, -1);  // the eleventh
  rate_follows("768");
  report(200, 14, 199);
  rate_follows("460");
  report(0, 126, 0);
  rate_follows("184");
  for (int i = 1; i <= 5; i++) report(200, 13, 0);
  expect_nothing();
  report(200, 13, 0);
  rate_follows("147");
  report(200, 127, 0);
  rate_follows("50");
}

}  // namespace
