// Fault scripts: what each control command does to the answers, the connection and the card.
#include <gtest/gtest.h>

#include <string>

#include "base/clock.h"
#include "camera_service/service_program.h"

namespace camera_service_test {
namespace {

class ControlCommands : public testing::Test {
 protected:
  ControlCommands() { client_.begin_session(); }

  void control(const std::string& line) const {
    const CommandResult result = program_.ctl(line);
    EXPECT_EQ(result.status, 0) << line << ": " << result.output;
  }
  [[nodiscard]] std::string on_card(const char* path) const { return program_.card() + path; }

  ServiceProgram program_;
  JsonClient client_{program_};
};

TEST_F(ControlCommands, RvalAnswersWithoutCarryingOut) {
  control("rval 772 -9 1");
  EXPECT_EQ(client_.command(772), json({{"rval", -9}, {"msg_id", 772}}));
  EXPECT_EQ(program_.state()["mode"], "photo");
  EXPECT_EQ(client_.command(772)["rval"], 0);
  control("rval 257 0");
  EXPECT_EQ(client_.command(257), json({{"rval", 0}, {"msg_id", 257}}));
}

TEST_F(ControlCommands, RvalEchoesTheTypeOfASetting) {
  control("rval 2 -1");
  EXPECT_EQ(client_.command(2, {{"type", "contrast"}, {"param", "5"}}),
            json({{"rval", -1}, {"msg_id", 2}, {"type", "contrast"}}));
}

TEST_F(ControlCommands, OneSettingIsRefusedAndTheOthersAreSet) {
  const json contrast = {{"type", "contrast"}, {"param", "5"}};
  control("refuse contrast");
  EXPECT_EQ(program_.state()["faults"][0]["type"], "contrast");
  EXPECT_EQ(client_.command(2, contrast),
            json({{"rval", -1}, {"msg_id", 2}, {"type", "contrast"}}));
  EXPECT_EQ(client_.command(2, {{"type", "sharpness"}, {"param", "5"}})["rval"], 0);
  EXPECT_EQ(client_.command(1, {{"type", "contrast"}})["param"], "60");
  control("refuse contrast -9 1");
  control("refuse sharpness -3");
  EXPECT_EQ(client_.command(2, contrast)["rval"], -9);
  EXPECT_EQ(client_.command(2, contrast)["rval"], 0);
  EXPECT_EQ(client_.command(2, {{"type", "sharpness"}, {"param", "6"}})["rval"], -3);
  EXPECT_EQ(program_.ctl("refuse weather").status, 1);
}

TEST_F(ControlCommands, FindingsAboutTheCardAreTold) {
  const std::pair<const char*, json> findings[] = {
      {"checking", {{"notify_id", 8}, {"param", "SD_SPEED_CHECKING"}}},
      {"speed-ok", {{"notify_id", 8}, {"param", "SD_SPEED_OK"}}},
      {"slow", {{"notify_id", 8}, {"param", "SD_SPEED_LOW"}}},
      {"error", {{"notify_id", 6}, {"param", "SD_ERROR"}}},
      {"exfat", {{"notify_id", 9}, {"param", "SD_FORMAT_EXFAT"}}},
      {"fat32", {{"notify_id", 9}, {"param", "SD_FORMAT_FAT32"}}}};
  for (const auto& [word, notification] : findings) {
    control(std::string("card ") + word);
    EXPECT_EQ(client_.receive(), notification);
  }
  EXPECT_EQ(program_.ctl("card wet").status, 1);
}

TEST_F(ControlCommands, ASlowCardEndsARecording) {
  ASSERT_EQ(client_.command(772)["rval"], 0);
  ASSERT_EQ(client_.command(513)["rval"], 0);
  control("card slow");
  EXPECT_EQ(client_.receive()["param"], "SD_SPEED_LOW");
  EXPECT_EQ(client_.receive(), json({{"notify_id", 0}}));
  EXPECT_EQ(program_.state()["recording"], false);
}

TEST_F(ControlCommands, AnswerReplacesTheTextOnce) {
  control(R"(answer 4097 {"rval":"zero","msg_id":4097})");
  EXPECT_EQ(client_.command(4097), json({{"rval", "zero"}, {"msg_id", 4097}}));
  EXPECT_EQ(client_.command(4097)["rval"], 0);
}

TEST_F(ControlCommands, DelayHoldsTheAnswerBackAndLetsOthersPass) {
  control("delay 4097 300 1");
  const uint64_t begin = base::monotonic_us();
  client_.send(R"({"msg_id":4097,"token":1}{"msg_id":773,"token":1})");
  EXPECT_EQ(client_.receive()["msg_id"], 773);
  EXPECT_EQ(client_.receive()["msg_id"], 4097);
  EXPECT_GE(base::monotonic_us() - begin, 300'000U);
}

TEST_F(ControlCommands, DelayedAnswerIsNotForTheNextClient) {
  control("delay 4097 200 1");
  client_.send(R"({"msg_id":4097,"token":1})");
  base::sleep_ms(50);
  JsonClient second(program_);
  EXPECT_EQ(second.receive(500), nullptr);
}

TEST_F(ControlCommands, SplitSendsTheAnswerInTwoReads) {
  control("split 4097 1500 1");
  client_.send(R"({"msg_id":4097,"token":1})");
  EXPECT_EQ(client_.read_some(), R"({"rval":0,"m)");
  EXPECT_EQ(client_.read_some(50), "");
  EXPECT_EQ(client_.read_some(), R"(sg_id":4097})");
}

TEST_F(ControlCommands, MuteCarriesOutAndDoesNotAnswer) {
  control("mute 772 1");
  client_.send(R"({"msg_id":772,"token":1})");
  EXPECT_EQ(client_.command(773)["msg_id"], 773);
  EXPECT_EQ(program_.state()["mode"], "video");
}

TEST_F(ControlCommands, FaultForAllEndsWithClear) {
  control("mute all");
  client_.send(R"({"msg_id":773,"token":1})");
  EXPECT_EQ(client_.receive(200), nullptr);
  EXPECT_EQ(program_.state()["faults"][0]["msg_id"], "all");
  control("clear");
  EXPECT_EQ(client_.command(4097)["msg_id"], 4097);
}

TEST_F(ControlCommands, TheModeIsTurnedByHandWhileTheCameraIsAtRest) {
  control("mode video");
  EXPECT_EQ(program_.state()["mode"], "video");
  EXPECT_EQ(client_.receive(100), nullptr) << "nobody is told";
  ASSERT_EQ(client_.command(513)["rval"], 0);
  EXPECT_EQ(program_.ctl("mode photo").status, 1);
  EXPECT_EQ(program_.state()["mode"], "video");
  EXPECT_EQ(program_.ctl("mode").status, 1);
}

TEST_F(ControlCommands, RawHexAndGarbageReachTheClientAsTheyAre) {
  control(R"(raw {"param":"C:\DCIM"}{)");
  EXPECT_EQ(client_.read_some(), R"({"param":"C:\DCIM"}{)");
  control("hex 7b 00FF7d");
  EXPECT_EQ(client_.read_some(), std::string("{\0\xFF}", 4));
  control("garbage 300");
  EXPECT_EQ(client_.read_some().size(), 300U);
}

TEST_F(ControlCommands, NotifySendsTheNotification) {
  control("notify 1 SD_SPEED_LOW");
  EXPECT_EQ(client_.read_some(), R"({"notify_id":1,"param":"SD_SPEED_LOW"})");
  control("notify 11");
  EXPECT_EQ(client_.read_some(), R"({"notify_id":11})");
}

TEST_F(ControlCommands, DropClosesTheConnectionAndTheNextOneIsServed) {
  control("drop");
  EXPECT_EQ(client_.read_some(), "");
  EXPECT_EQ(program_.state()["connected"], false);
  JsonClient second(program_);
  second.begin_session();
  EXPECT_EQ(second.command(4097)["rval"], 0);
  EXPECT_EQ(program_.state()["connections"], 2);
}

TEST_F(ControlCommands, RestartClosesThePortForAWhile) {
  control("restart 2000");
  EXPECT_EQ(client_.read_some(), "");
  EXPECT_ANY_THROW(JsonClient{program_});
  base::sleep_ms(2500);
  JsonClient second(program_);
  second.begin_session();
  EXPECT_EQ(second.command(773)["rval"], 0);
}

TEST_F(ControlCommands, RemovedCardIsGoneUntilItIsPutIn) {
  control("remove");
  EXPECT_EQ(client_.receive(), json({{"notify_id", 2}, {"param", "SD_CARD_REMOVED"}}));
  EXPECT_EQ(names_in(program_.card()), "");
  EXPECT_EQ(client_.command(4097)["rval"], -2);
  EXPECT_EQ(client_.command(769)["rval"], -2);
  EXPECT_EQ(client_.command(5, {{"type", "free"}})["rval"], -2);
  EXPECT_EQ(client_.command(4, {{"param", "C"}})["rval"], -2);
  EXPECT_EQ(program_.ctl("remove").status, 1);
  control("insert");
  EXPECT_EQ(client_.receive(), json({{"notify_id", 1}, {"param", "SD_CARD_INSERTED"}}));
  EXPECT_EQ(client_.command(4097)["rval"], 0);
  EXPECT_EQ(client_.command(769)["rval"], 0);
}

TEST_F(ControlCommands, RemovalEndsARecording) {
  ASSERT_EQ(client_.command(772)["rval"], 0);
  ASSERT_EQ(client_.command(513)["rval"], 0);
  control("remove");
  EXPECT_EQ(client_.receive()["param"], "SD_CARD_REMOVED");
  for (int i = 0; i < 100 && program_.state()["recording"] == true; i++) base::sleep_ms(20);
  EXPECT_EQ(program_.state()["recording"], false);
  EXPECT_EQ(client_.command(514)["rval"], -6);
  EXPECT_EQ(program_.state()["videos"], 0);
}

TEST_F(ControlCommands, UnknownFormatIsHealedByTheFormatCommand) {
  control("unformat");
  EXPECT_EQ(client_.receive(), json({{"notify_id", 6}, {"param", "SD_FORMAT_UNKNOWN"}}));
  EXPECT_EQ(client_.command(4097)["rval"], -1);
  EXPECT_EQ(client_.command(4, {{"param", "D"}})["rval"], -5);
  EXPECT_EQ(client_.command(4, {{"param", "C"}})["rval"], 0);
  EXPECT_EQ(client_.receive()["param"], "SD_SPEED_CHECKING");
  EXPECT_EQ(client_.receive()["param"], "SD_SPEED_OK");
  EXPECT_EQ(client_.command(4097)["rval"], 0);
}

TEST_F(ControlCommands, FullCardRefusesPhotosAndRecordings) {
  control("fill 100");
  EXPECT_EQ(client_.receive(), json({{"notify_id", 4}, {"param", "SD_NO_SPACE"}}));
  client_.send(R"({"msg_id":769,"token":1})");
  EXPECT_EQ(client_.receive()["param"], "SD_NO_SPACE");
  EXPECT_EQ(client_.receive(), json({{"rval", -3}, {"msg_id", 769}}));
  control("unfill");
  EXPECT_EQ(client_.command(769)["rval"], 0);
}

TEST_F(ControlCommands, LogHoldsTheTextsOfTheClientWithTheirTimes) {
  control("log clear");
  const uint64_t before = base::monotonic_us();
  client_.send("x\n{\"msg_id\":773,\"token\":1}");
  ASSERT_EQ(client_.receive()["rval"], 0);
  const std::string log = program_.ctl("log").output;
  const uint64_t at = std::stoull(log);
  EXPECT_GE(at, before);
  EXPECT_LE(at, base::monotonic_us());
  const std::string stamp = std::to_string(at) + " ";
  EXPECT_EQ(log, stamp + "x\\x0A\n" + stamp + "{\"msg_id\":773,\"token\":1}\n");
}

TEST_F(ControlCommands, AfterCarriesOutLater) {
  control("after 100 notify 5 SD_ERROR");
  EXPECT_EQ(client_.receive(), json({{"notify_id", 5}, {"param", "SD_ERROR"}}));
}

TEST_F(ControlCommands, WrongCommandsAreRefusedInWords) {
  for (const char* line : {"rval", "rval x 1", "delay 5 -1", "split 5 0", "hex 7", "photo-exif odd",
                           "restart", "fill x", "no-such-command", "after 5", "garbage 9999999"}) {
    const CommandResult result = program_.ctl(line);
    EXPECT_EQ(result.status, 1) << line;
    EXPECT_FALSE(result.output.empty()) << line;
  }
  EXPECT_NE(program_.ctl("help").output.find("photo-exif"), std::string::npos);
}

TEST_F(ControlCommands, ProgramIsAClientOfItself) {
  const std::string program = "\"" BIN_DIR "/camera_service\" ctl --control ";
  const std::string ctl = program + program_.control() + " ";
  const CommandResult set = run_command(ctl + "rval 772 -9 1");
  EXPECT_EQ(set.status, 0);
  EXPECT_EQ(set.output, "");
  EXPECT_EQ(client_.command(772)["rval"], -9);
  EXPECT_EQ(json::parse(run_command(ctl + "state").output)["mode"], "photo");
  const CommandResult refused = run_command(ctl + "nonsense");
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.output, "camera_service: there is no command \"nonsense\"; see help\n");
  EXPECT_EQ(run_command(program + "/nonexistent/ctl state").status, 2);
}

TEST(ControlScript, LinesOfAScriptAreCarriedOutAtStart) {
  const TemporaryFolder folder;
  write_text(folder.path("script"), "# a comment\n\nrval 4097 -2\nphoto-exif none\n");
  const ServiceProgram program("--script " + (folder.path("script")));
  JsonClient client(program);
  client.begin_session();
  EXPECT_EQ(client.command(4097)["rval"], -2);
}

TEST(ControlScript, WrongLineKeepsTheProgramFromStarting) {
  const TemporaryFolder folder;
  write_text(folder.path("script"), "clear\nnonsense\n");
  EXPECT_ANY_THROW(ServiceProgram("--script " + (folder.path("script"))));
}

// The card is a small file system of its own here, so that it really is filled, and a mount point
// that cannot be renamed.
TEST(SmallCard, IsFilledAndTakenOutForReal) {
  const ServiceProgram program({},
                               "unshare --user --map-root-user --mount sh -c "
                               "'mount -t tmpfs -o size=64m none CARD && eval \"$0\"'");
  JsonClient client(program);
  client.begin_session();
  EXPECT_EQ(client.command(5, {{"type", "total"}})["param"], 64 * 1024);
  ASSERT_EQ(program.ctl("fill 1000").status, 0);
  ASSERT_EQ(client.receive()["param"], "SD_NO_SPACE");
  const auto free = client.command(5, {{"type", "free"}})["param"].get<int>();
  EXPECT_NEAR(free, 1000, 64);
  EXPECT_EQ(program.state()["card"]["pretends_full"], false);
  ASSERT_EQ(program.ctl("unfill").status, 0);
  ASSERT_EQ(client.command(769)["rval"], 0);

  const auto used = client.command(5, {{"type", "free"}})["param"].get<int>();
  ASSERT_EQ(program.ctl("remove").status, 0);
  ASSERT_EQ(client.receive()["param"], "SD_CARD_REMOVED");
  EXPECT_EQ(client.command(4097)["rval"], -2);
  ASSERT_EQ(program.ctl("insert").status, 0);
  ASSERT_EQ(client.receive()["param"], "SD_CARD_INSERTED");
  EXPECT_EQ(client.command(5, {{"type", "free"}})["param"], used);
}

}  // namespace
}  // namespace camera_service_test
