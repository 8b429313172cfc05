// What wrong usage is told in, for lines of the program.
#include "groundstation/usage/errors.h"

#include <gtest/gtest.h>

#include "groundstation/shell/program.h"

namespace groundstation_test {
namespace {

struct Row {
  const char* line;
  const char* command;
  const char* sentence;
};

class UsageErrors : public ::testing::TestWithParam<Row> {};

TEST_P(UsageErrors, NameTheWordAndTheNearestOne) {
  const Row& row = GetParam();
  groundstation::ProgramOptions options;
  groundstation::Action action;
  CLI::App app;
  build_program(app, &options, &action);
  try {
    app.parse(row.line);
    FAIL() << row.line << " was taken";
  } catch (const CLI::ParseError& error) {
    const groundstation::UsageError wrong = groundstation::usage_error(app, error);
    EXPECT_EQ(wrong.command, row.command);
    EXPECT_EQ(wrong.sentence, row.sentence);
    EXPECT_EQ(wrong.nothing_given, std::string(row.line).empty());
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, UsageErrors,
    ::testing::Values(
        Row{"", "", "a command is missing"},
        Row{"statsu", "", "there is no command statsu; did you mean status?"},
        Row{"nonsense", "", "there is no command nonsense"},
        Row{"timelapse", "timelapse", "start or stop is missing"},
        Row{"timelapse strat", "timelapse", "there is no command strat; did you mean start?"},
        Row{"timelapse xyzzy", "timelapse", "there is no command xyzzy; it is start or stop"},
        Row{"photo --moed PW", "photo", "there is no option --moed; did you mean --mode?"},
        Row{"photo --jsno", "photo", "there is no option --jsno; did you mean --json?"},
        Row{"photo --sequnce=3", "photo", "there is no option --sequnce; did you mean --sequence?"},
        Row{"params all", "params", "all is one word too many"},
        Row{"photo --mode XX", "photo",
            "--mode: XX is not PR, PW, PV, PH or a whole number from 0 to 255"},
        Row{"photo --mode 256", "photo",
            "--mode: 256 is not PR, PW, PV, PH or a whole number from 0 to 255"},
        Row{"photo --mode", "photo", "--mode needs a value"},
        Row{"photo --sequence 3", "photo", "--sequence requires --mode"},
        Row{"mode vidoe", "mode", "MODE: vidoe is not photo or video; did you mean video?"},
        Row{"mode", "mode", "MODE is missing"},
        Row{"bitrate many", "bitrate", "SIGNAL: many is not a whole number from 0 to 255"},
        Row{"position 91 0 0", "position", "LATITUDE: 91 is not a number from -90 to 90"},
        Row{"timelapse start --interval 16", "timelapse start",
            "--interval: 16 is not a whole number from 1 to 15"},
        Row{"--timeout 0 status", "status", "--timeout: 0 is not a number of seconds above 0"},
        Row{"--camera here status", "status",
            "--camera: here is not ADDRESS or ADDRESS:PORT (IPv4)"},
        Row{"set", "set", "NAME is missing"}, Row{"set contrast", "set", "VALUE is missing"},
        Row{"set white_balence Day", "set",
            "NAME: white_balence is no setting; did you mean white_balance?"},
        Row{"get nonsense", "get", "NAME: nonsense is no setting; \"get --help\" lists them"},
        Row{"set white_balance Clody", "set",
            "VALUE: scene_white_balance takes Auto, Day, Cloudy (0 to 2), not Clody; did you mean "
            "Cloudy?"},
        Row{"set contrast 256", "set", "VALUE: contrast takes 0 to 255, not 256"},
        Row{"set low_light of", "set",
            "VALUE: low_light_mode takes OFF, ON (0 to 1), not of; did you mean OFF?"},
        Row{"clock --now 5", "clock", "TIME and --now do not go together"},
        Row{"factory uart_tst", "factory",
            "TEST: uart_tst is not uart_test, sdcard_test, snap_test, record_test, wifi_start_1, "
            "wifi_start_2 or wifi_stop; did you mean uart_test?"}));

}  // namespace
}  // namespace groundstation_test
