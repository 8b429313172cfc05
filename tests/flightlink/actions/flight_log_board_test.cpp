// Telemetry as lines in the numbered logs on the card of a board. The ID files are the recording
// fake's: they hold nothing.
#include "flightlink/actions/flight_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include "base/bytes.h"
#include "fake_base/fake_base.h"
#include "flightlink/actions/dispatch.h"
#include "supervisor/state/data_log.h"

namespace flightlink {
namespace {

using ::testing::IsEmpty;

constexpr const char* kFlyctlLog = "/tmp/SD0/FlyctlDataLog0.txt";
constexpr const char* kGimbalLog = "/tmp/SD0/GimbalDataLog0.txt";

class FlightLog : public fake_base::FakeBaseTest {
 protected:
  FlightLog() {
    clean();
    std::filesystem::create_directories("/tmp/SD0/KRVMEDIA");
  }
  ~FlightLog() override { clean(); }
  static void clean() {
    supervisor::data_log_close_all();
    std::filesystem::remove(kFlyctlLog);
    std::filesystem::remove(kGimbalLog);
    std::filesystem::remove("/tmp/SD0/KRVMEDIA");
  }
  static std::string content(const char* path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

// A record of 62 or 64 bytes: time stamp, the 13 floats, the last value.
MavlinkMessage record(uint8_t msgid, uint64_t time, const std::vector<float>& values,
                      uint32_t last) {
  MavlinkMessage message{};
  message.msgid = msgid;
  base::store_u64le(message.payload, time);
  for (size_t i = 0; i < values.size(); i++) {
    base::store_f32le(message.payload + 8 + 4 * i, values[i]);
  }
  base::store_u32le(message.payload + 60, last);
  message.len = msgid == 105 ? 62 : 64;
  return message;
}

const std::vector<float> kValues = {0,          1,       -1,      0.5F,        -0.125F,
                                    3.1415927F, 1e6F,    -1e-6F,  123.456789F, 99999.9F,
                                    0.00001F,   0.0004F, -0.0006F};

TEST_F(FlightLog, Message105HasFiveDecimalsAndAnUnsigned16BitValue) {
  MavlinkMessage message = record(105, 18446744073709551615ULL, kValues, 65535);
  EXPECT_EQ(peer_dispatch(&message), 0);
  message = record(105, 7, std::vector<float>(13, 0), 7);
  EXPECT_EQ(peer_dispatch(&message), 0);
  EXPECT_EQ(content(kGimbalLog),
            "18446744073709551615,0.00000,1.00000,-1.00000,0.50000,-0.12500,3.14159,1000000.00000,"
            "-0.00000,123.45679,99999.89844,0.00001,0.00040,-0.00060,65535\n"
            "7,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,"
            "0.00000,0.00000,0.00000,7\n");
  EXPECT_FALSE(std::filesystem::exists(kFlyctlLog));
}

TEST_F(FlightLog, Message105TakesOnly16BitsOfTheLastValue) {
  MavlinkMessage message = record(105, 0, {}, 0xABCD0001);
  message.len = 64;
  EXPECT_EQ(flight_log_105(&message), 0);
  EXPECT_TRUE(content(kGimbalLog).ends_with(",0.00000,1\n"));
}

TEST_F(FlightLog, Message107HasThreeDecimalsAndAtLeastThreeDigits) {
  MavlinkMessage message = record(107, 1577836800000000ULL, kValues, 7);
  EXPECT_EQ(peer_dispatch(&message), 0);
  EXPECT_EQ(content(kFlyctlLog),
            "1577836800000000,0.000,1.000,-1.000,0.500,-0.125,3.142,1000000.000,-0.000,123.457,"
            "99999.898,0.000,0.000,-0.001,007\n");
  EXPECT_FALSE(std::filesystem::exists(kGimbalLog));
}

TEST_F(FlightLog, Message107PrintsASignedValue) {
  struct Row {
    uint32_t value;
    const char* text;
  };
  const Row rows[] = {{0, "000"},        {0xFFFFFFFB, "-005"}, {12, "012"},
                      {123, "123"},      {4567, "4567"},       {0x7FFFFFFF, "2147483647"},
                      {0xFFFF, "65535"}, {0xFFFFFF9C, "-100"}, {0x80000000, "-2147483648"}};
  std::string expected;
  for (const Row& row : rows) {
    const MavlinkMessage message = record(107, 1, {}, row.value);
    EXPECT_EQ(flight_log_107_90(&message), 0);
    expected += "1";
    for (int i = 0; i < 13; i++) expected += ",0.000";
    expected += std::string(",") + row.text + "\n";
  }
  EXPECT_EQ(content(kFlyctlLog), expected);
}

TEST_F(FlightLog, OddFloatsArePrintedWhole) {
  const float infinity = std::numeric_limits<float>::infinity();
  const float huge = 3.4028235e38F;
  const MavlinkMessage message = record(
      105, 0, {std::nanf(""), infinity, -infinity, huge, -huge, huge, huge, huge, huge, huge, huge},
      0);
  EXPECT_EQ(flight_log_105(&message), 0);
  const std::string digits = "340282346638528859811704183484516925440.00000,";
  std::string expected = "0,nan,inf,-inf," + digits + "-" + digits;
  for (int i = 0; i < 6; i++) expected += digits;
  EXPECT_EQ(content(kGimbalLog), expected + "0.00000,0.00000,0\n");
}

TEST_F(FlightLog, FieldsBeyondAShortFrameAreZero) {
  // The bytes behind the frame are an earlier frame's.
  MavlinkMessage message = record(105, 0x0102030405060708, std::vector<float>(13, 1), 5);
  message.len = 12;
  EXPECT_EQ(flight_log_105(&message), 0);
  message.len = 0;
  EXPECT_EQ(flight_log_105(&message), 0);
  EXPECT_EQ(content(kGimbalLog),
            "72623859790382856,1.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,"
            "0.00000,0.00000,0.00000,0.00000,0.00000,0\n"
            "0,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,0.00000,"
            "0.00000,0.00000,0.00000,0\n");
}

TEST_F(FlightLog, Message90AddsNothing) {
  MavlinkMessage message = record(90, 1, kValues, 1);
  EXPECT_EQ(peer_dispatch(&message), -1);
  EXPECT_THAT(fake_base::events(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(kFlyctlLog));
  message = record(107, 1, {}, 1);
  ASSERT_EQ(peer_dispatch(&message), 0);
  const std::string before = content(kFlyctlLog);
  message.msgid = 90;
  EXPECT_EQ(peer_dispatch(&message), -1);
  EXPECT_EQ(content(kFlyctlLog), before);
}

TEST_F(FlightLog, TheApplicationsLinkWritesNoLogs) {
  for (const int msgid : {90, 105, 107}) {
    const MavlinkMessage message = record(static_cast<uint8_t>(msgid), 1, kValues, 1);
    EXPECT_EQ(common_dispatch(&message), 0) << msgid;
  }
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(FlightLog, WithoutAMediaFolderALineIsRefused) {
  std::filesystem::remove("/tmp/SD0/KRVMEDIA");
  const MavlinkMessage gimbal = record(105, 1, {}, 1);
  const MavlinkMessage flyctl = record(107, 1, {}, 1);
  EXPECT_EQ(flight_log_105(&gimbal), -1);
  EXPECT_EQ(flight_log_107_90(&flyctl), -1);
}

TEST_F(FlightLog, ANullMessageGivesMinusOne) {
  EXPECT_EQ(flight_log_105(nullptr), -1);
  EXPECT_EQ(flight_log_107_90(nullptr), -1);
}

}  // namespace
}  // namespace flightlink
