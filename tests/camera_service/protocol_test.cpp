// The command protocol of the program: sessions, settings, states, hostile input.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "base/clock.h"
#include "camera_service/service_program.h"

namespace camera_service_test {
namespace {

class Protocol : public testing::Test {
 protected:
  Protocol() { client_.begin_session(); }

  ServiceProgram program_;
  JsonClient client_{program_};
};

TEST_F(Protocol, SessionReplyIsThisText) {
  const JsonClient second(program_);
  second.send(R"({"msg_id":257,"token":0})");
  EXPECT_EQ(second.read_some(), R"({"rval":0,"msg_id":257,"param":2})");
}

TEST_F(Protocol, WrongTokenIsRefusedWithMinusFour) {
  client_.send(R"({"msg_id":4097,"token":999})");
  EXPECT_EQ(client_.receive(), json::parse(R"({"rval":-4,"msg_id":4097})"));
  client_.send(R"({"msg_id":4097})");
  EXPECT_EQ(client_.receive()["rval"], -4);
}

TEST_F(Protocol, TokenEndsWithTheConnection) {
  JsonClient second(program_);
  second.send(R"({"msg_id":4097,"token":1})");
  EXPECT_EQ(second.receive()["rval"], -4);
}

TEST_F(Protocol, NewClientReplacesTheOldOne) {
  JsonClient second(program_);
  second.begin_session();
  EXPECT_EQ(client_.read_some(), "");
  EXPECT_EQ(second.command(4097)["rval"], 0);
}

TEST_F(Protocol, EverySettingComesBackAsItWasSet) {
  // In an order in which they go together.
  ASSERT_EQ(client_.command(772)["rval"], 0);
  client_.set_resolution("1920x1080 30P 16:9");
  EXPECT_EQ(client_.command(1, {{"type", "video_resolution"}})["param"], "1920x1080 30P 16:9");
  const std::pair<const char*, const char*> values[] = {
      {"camera_clock", "2020-01-01 12:00:00"},
      {"color_style", "70FILM"},
      {"video_quality", "normal"},
      {"scene_white_balance", "Cloudy"},
      {"fix_iso_value", "400"},
      {"fix_exposure", "5000"},
      {"low_light_mode", "ON"},
      {"Max_Agc", "26"},
      {"low_light_mode", "OFF"},
      {"set_manual_ae_mode", "shutter_priority"},
      {"saturation", "61"},
      {"contrast", "62"},
      {"sharpness", "4"},
      {"shutter_time", "1/12.5"},
      {"piv_format", "RAW"},
      {"raw_mode", "ON"},
      {"sec_stream_stamp", "OFF"},
      {"time_lapse_time", "7"},
  };
  for (const auto& [type, value] : values) {
    EXPECT_EQ(client_.command(2, {{"type", type}, {"param", value}}),
              json({{"rval", 0}, {"msg_id", 2}, {"type", type}}));
    EXPECT_EQ(client_.command(1, {{"type", type}}),
              json({{"rval", 0}, {"msg_id", 1}, {"type", type}, {"param", value}}));
  }
}

TEST_F(Protocol, ValueOutsideTheTableIsRefused) {
  EXPECT_EQ(client_.command(2, {{"type", "shutter_time"}, {"param", "1/7"}}),
            json({{"rval", -5}, {"msg_id", 2}, {"type", "shutter_time"}}));
  EXPECT_EQ(client_.command(1, {{"type", "no_such_type"}})["rval"], -1);
}

TEST_F(Protocol, WhatDoesNotGoTogetherIsRefusedAndChangesNothing) {
  EXPECT_EQ(client_.command(2, {{"type", "shutter_time"}, {"param", "1/50"}}),
            json({{"rval", -6}, {"msg_id", 2}, {"type", "shutter_time"}}));
  EXPECT_EQ(client_.command(1, {{"type", "shutter_time"}})["param"], "1/30");
}

TEST_F(Protocol, AResolutionNeedsVideoModeAndNoPreview) {
  const json k4 = {{"type", "video_resolution"}, {"param", "1920x1080 30P 16:9"}};
  ASSERT_EQ(client_.command(260)["rval"], 0);
  EXPECT_EQ(client_.command(2, k4)["rval"], -6) << "photo mode";
  ASSERT_EQ(client_.command(772)["rval"], 0);
  ASSERT_EQ(client_.command(259)["rval"], 0);
  EXPECT_EQ(client_.command(2, k4)["rval"], -6) << "preview";
  ASSERT_EQ(client_.command(260)["rval"], 0);
  EXPECT_EQ(client_.command(2, k4)["rval"], 0);
}

TEST_F(Protocol, SettingsOutliveTheSession) {
  ASSERT_EQ(client_.command(2, {{"type", "contrast"}, {"param", "77"}})["rval"], 0);
  JsonClient second(program_);
  second.begin_session();
  EXPECT_EQ(second.command(1, {{"type", "contrast"}})["param"], "77");
}

TEST_F(Protocol, TheDefaultsBringThePreviewBack) {
  ASSERT_EQ(client_.command(2, {{"type", "contrast"}, {"param", "77"}})["rval"], 0);
  ASSERT_EQ(client_.command(260)["rval"], 0);
  EXPECT_EQ(client_.command(2, {{"type", "default_setting"}, {"param", "on"}})["rval"], 0);
  EXPECT_EQ(program_.state()["preview"], true);
  EXPECT_EQ(client_.command(1, {{"type", "contrast"}})["param"], "60");
}

TEST_F(Protocol, PlainCommandsAreDone) {
  for (const int msg_id : {259, 260, 772, 773, 2561, 2817, 4097, 8194})
    EXPECT_EQ(client_.command(msg_id), json({{"rval", 0}, {"msg_id", msg_id}}));
  EXPECT_EQ(client_.command(31337)["rval"], -1);
}

TEST_F(Protocol, ModeAndPreviewFollowTheirCommands) {
  EXPECT_EQ(program_.state()["mode"], "photo");
  EXPECT_EQ(client_.command(772)["rval"], 0);
  EXPECT_EQ(program_.state()["mode"], "video");
  EXPECT_EQ(client_.command(260)["rval"], 0);
  EXPECT_EQ(program_.state()["preview"], false);
  EXPECT_EQ(client_.command(259, {{"param", "none_force"}})["rval"], 0);
  EXPECT_EQ(program_.state()["preview"], true);
}

TEST_F(Protocol, StreamRateIsAPositiveNumberInAText) {
  EXPECT_EQ(client_.command(16, {{"param", "512"}})["rval"], 0);
  EXPECT_EQ(program_.state()["stream_rate"], 512);
  EXPECT_EQ(client_.command(16, {{"param", "0"}})["rval"], -5);
  EXPECT_EQ(client_.command(16, {{"param", 512}})["rval"], -5);
}

TEST_F(Protocol, SpaceIsGivenInKilobytes) {
  const auto total = client_.command(5, {{"type", "total"}})["param"].get<int64_t>();
  const auto free = client_.command(5, {{"type", "free"}})["param"].get<int64_t>();
  const std::string df =
      run_command("df -k --output=size " + program_.card() + " | tail -1").output;
  EXPECT_EQ(total, std::stoll(df));
  EXPECT_GT(free, 0);
  EXPECT_LT(free, total);
  EXPECT_EQ(client_.command(5, {{"type", "used"}})["rval"], -1);
}

TEST_F(Protocol, CommandsInTheWrongModeAreRefused) {
  EXPECT_EQ(client_.command(513)["rval"], -6);
  EXPECT_EQ(client_.command(514)["rval"], -6);
  EXPECT_EQ(client_.command(772)["rval"], 0);
  EXPECT_EQ(client_.command(769)["rval"], -6);
}

TEST_F(Protocol, TwoCommandsInOneWriteAndOneInTwoAreAnswered) {
  client_.send(R"({"msg_id":4097,"token":1}{"msg_id":773,"token":1})");
  EXPECT_EQ(client_.receive()["msg_id"], 4097);
  EXPECT_EQ(client_.receive()["msg_id"], 773);
  client_.send(R"({"msg_id":2561,)");
  base::sleep_ms(50);
  client_.send(R"("token":1})");
  EXPECT_EQ(client_.receive()["msg_id"], 2561);
}

TEST_F(Protocol, GarbageIsSurvivedAndTheNextCommandAnswered) {
  const std::string hostile[] = {
      std::string(100'000, '{'),
      std::string(5000, '['),
      "{\"msg_id\":99999999999999999999,\"token\":1}",
      "{\"msg_id\":4294967297,\"token\":1}",
      "{\"msg_id\":\"257\"}",
      "{\"msg_id\":2,\"token\":1,\"type\":7,\"param\":[1]}",
      "{\"msg_id\":1.5}",
      "{\"a\":\"\xFF\xFE\"}",
      std::string("\0\0{}\0", 5),
      "{\"open\n",
  };
  for (const std::string& text : hostile) client_.send(text);
  client_.send(R"({"msg_id":773,"token":1})");
  json answer = client_.receive();
  while (answer.is_object() && answer["msg_id"] != 773) answer = client_.receive();
  EXPECT_EQ(answer, json({{"rval", 0}, {"msg_id", 773}}));
  EXPECT_TRUE(program_.alive());
}

TEST_F(Protocol, UnfinishedObjectIsGivenUpAfterASecond) {
  client_.send("{\"never ends: ");
  base::sleep_ms(1200);
  EXPECT_EQ(client_.command(773)["rval"], 0);
}

TEST_F(Protocol, SigtermEndsTheProgramCleanly) { EXPECT_EQ(program_.terminate(), 0); }

}  // namespace
}  // namespace camera_service_test
