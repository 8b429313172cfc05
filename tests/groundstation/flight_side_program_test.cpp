// What the program says when it is used wrongly or nobody is there; against the real programs see
// the tests on the board.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

using ::testing::HasSubstr;

// TCP and UDP port 1 of this machine: nobody is there.
ProgramResult lonely(const std::string& arguments) {
  return run_program("--camera 127.0.0.1:1 --bind 127.0.0.1:0 --timeout 0.5 " + arguments);
}

TEST(FlightSideProgram, HelpOfEachCommand) {
  for (const char* command :
       {"firmware", "firmware send", "firmware serve", "app", "stick", "ack", "factory"}) {
    EXPECT_EQ(run_program(std::string(command) + " --help").exit_code, 0) << command;
  }
  EXPECT_THAT(run_program("factory --help").out, HasSubstr("record_test"));
}

TEST(FlightSideProgram, WrongUsageIs2) {
  for (const char* arguments :
       {"firmware", "firmware send", "firmware send a --drop-every 1", "firmware serve nobody",
        "app --send 300", "app --send 1:z", "stick", "stick xyz", "stick 00 --rate 0",
        "ack --port 0", "ack --delay -1", "factory nonsense", "factory --mac 1:2"}) {
    EXPECT_EQ(lonely(arguments).exit_code, 2) << arguments;
  }
}

TEST(FlightSideProgram, NobodyThereIs3WithWhatToCheck) {
  const std::string image = temporary_path("image");
  std::ofstream(image) << "abc";
  EXPECT_THAT(lonely("firmware send " + image).err, HasSubstr("no camera: no heartbeat"));
  expect_failure(lonely("firmware serve gimbal"), 3, "no camera: no heartbeat");
  expect_failure(lonely("app --port 1"), 3, "Check that applink runs");
  const ProgramResult ack = lonely("ack --port 18866 --seconds 0.2 --count 1 --json");
  EXPECT_EQ(ack.exit_code, 3);
  EXPECT_EQ(ack.json()["datagrams"], 0);
  expect_failure(lonely("factory --device /dev/null"), 3, "is no serial line");
}

TEST(FlightSideProgram, CtrlCIsAnInterruptUnlessItIsTheEnd) {
  const auto after_a_second = [](const std::string& arguments) {
    return run_program("--camera 127.0.0.1:1 --bind 127.0.0.1:0 " + arguments, "",
                       "timeout --signal=INT 1");
  };
  EXPECT_EQ(after_a_second("ack --port 18868 --count 1 --json").json()["exit_code"], 130);
  EXPECT_EQ(after_a_second("ack --port 18868 --json").json()["ok"], true);
}

TEST(FlightSideProgram, FilesThatCannotBeUsedAre1) {
  EXPECT_EQ(lonely("firmware send /nowhere/image").exit_code, 1);
  const std::string there = temporary_path("there");
  std::ofstream(there) << "x";
  expect_failure(lonely("firmware serve -o " + there), 1, "--force");
  EXPECT_EQ(lonely("ack --port 18867 -o /nowhere/file").exit_code, 1);
  expect_failure(lonely("ack --port 18867 -o " + there), 1, "--force");
  EXPECT_EQ(read_file(there), "x");
}

}  // namespace
}  // namespace groundstation_test
