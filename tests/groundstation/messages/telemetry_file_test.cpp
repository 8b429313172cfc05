#include "groundstation/messages/telemetry_file.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <sstream>

namespace groundstation_test {
namespace {

groundstation::TelemetryFile read(const std::string& text) {
  std::istringstream stream(text);
  return groundstation::read_telemetry(stream);
}

// A line with everything between the time and the last field.
std::string full_line(const char* begin, const char* value) {
  return fmt::format("{},1,2,3,4,5,6,7,8,9,10,11,12,-13.5,{}", begin, value);
}

TEST(TelemetryFile, ReadsEveryKindOfLine) {
  const auto file =
      read(fmt::format("# from a flight\n\n{}\r\n {}\n90\n90,7", full_line("105,1000", " 65535"),
                       full_line("107,18446744073709551615", "-5")));
  ASSERT_EQ(file.error, "");
  ASSERT_EQ(file.messages.size(), 4U);
  EXPECT_EQ(file.messages[0].msgid, 105);
  EXPECT_EQ(file.messages[0].time, 1000U);
  EXPECT_EQ(file.messages[0].values[0], 1.0F);
  EXPECT_EQ(file.messages[0].values[12], -13.5F);
  EXPECT_EQ(file.messages[0].value, 65535U);
  EXPECT_EQ(file.messages[1].msgid, 107);
  EXPECT_EQ(file.messages[1].time, UINT64_MAX);
  EXPECT_EQ(file.messages[1].value, 0xFFFFFFFBU);
  EXPECT_EQ(file.messages[2].msgid, 90);
  EXPECT_EQ(file.messages[2].time, 0U);
  EXPECT_EQ(file.messages[3].time, 7U);
}

TEST(TelemetryFile, NamesTheLineThatIsWrong) {
  EXPECT_EQ(read("90\n91,0").error, "line 2: it begins with \"91\", not with 90, 105 or 107");
  EXPECT_EQ(read("361,0").error, "line 1: it begins with \"361\", not with 90, 105 or 107");
  EXPECT_EQ(read("\n\n105,1,2").error, "line 3: 3 fields, not 16");
  EXPECT_EQ(read(full_line("105", "1")).error, "line 1: 15 fields, not 16");
  EXPECT_EQ(read(full_line("105,0", "1,")).error, "line 1: 17 fields, not 16");
  EXPECT_EQ(read(full_line("105,0", "65536")).error,
            "line 1: \"65536\" is out of range for message 105");
  EXPECT_EQ(read(full_line("107,-1", "0")).error, "line 1: \"-1\" is no time");
  EXPECT_EQ(read("107,0,x,2,3,4,5,6,7,8,9,10,11,12,13,0").error, "line 1: \"x\" is no number");
  EXPECT_EQ(read("90,").error, "line 1: \"\" is no time");
}

TEST(TelemetryFile, MayBeEmpty) {
  EXPECT_EQ(read("").error, "");
  EXPECT_TRUE(read("# nothing\n").messages.empty());
}

}  // namespace
}  // namespace groundstation_test
