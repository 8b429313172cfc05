#include "supervisor/state/mac_address.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "fake_base/fake_base.h"

namespace supervisor {
namespace {

using ::testing::ElementsAre;

class MacAddress : public fake_base::FakeBaseTest {
 protected:
  MacAddress() { camera_mac_reset(); }
  static std::string obtain() {
    ::testing::internal::CaptureStdout();
    obtain_macaddr();
    return ::testing::internal::GetCapturedStdout();
  }
  static std::vector<int> bytes() { return {camera_mac.begin(), camera_mac.end()}; }
};

TEST_F(MacAddress, ADigitGivesItsValue) {
  const std::string digits = "0123456789abcdef";
  for (size_t i = 0; i < digits.size(); i++) EXPECT_EQ(a2x(digits[i]), i);
  const std::string capitals = "ABCDEF";
  for (size_t i = 0; i < capitals.size(); i++) EXPECT_EQ(a2x(capitals[i]), 10 + i);
}

TEST_F(MacAddress, AnyOtherCharacterPrintsAndGivesZero) {
  for (const char other : {'g', 'G', '@', '`', '/', ':', ' ', '\n', '\0', '\xFF'}) {
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(a2x(other), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "a2x(line=796):error mac addr!\n");
  }
}

TEST_F(MacAddress, IsReadFromTheUsbInterface) {
  fake_base::push_shell_line("02:A5:1b:3C:d4:0E\n");
  EXPECT_EQ(obtain(),
            "obtain_macaddr(line=815):buffer=02:A5:1b:3C:d4:0E\n\n"
            "obtain_macaddr(line=820):macaddr[0]=0x2\n"
            "obtain_macaddr(line=820):macaddr[1]=0xa5\n"
            "obtain_macaddr(line=820):macaddr[2]=0x1b\n"
            "obtain_macaddr(line=820):macaddr[3]=0x3c\n"
            "obtain_macaddr(line=820):macaddr[4]=0xd4\n"
            "obtain_macaddr(line=820):macaddr[5]=0xe\n");
  EXPECT_THAT(bytes(), ElementsAre(0x02, 0xA5, 0x1B, 0x3C, 0xD4, 0x0E));
  EXPECT_THAT(fake_base::events(),
              ElementsAre("read /sbin/ifconfig usb0 | /bin/grep HWaddr | /usr/bin/awk "
                          "'{print $5}'"));
}

TEST_F(MacAddress, ABadCharacterCountsAsZero) {
  fake_base::push_shell_line("x2:ay:00:00:00:ff\n");
  const std::string output = obtain();
  EXPECT_NE(output.find("a2x(line=796):error mac addr!\n"), std::string::npos);
  EXPECT_THAT(bytes(), ElementsAre(0x02, 0xA0, 0, 0, 0, 0xFF));
}

TEST_F(MacAddress, AShortLineLeavesTheRestZero) {
  fake_base::push_shell_line("12:34");
  obtain();
  EXPECT_THAT(bytes(), ElementsAre(0x12, 0x34, 0, 0, 0, 0));
}

TEST_F(MacAddress, ALongLineIsReadToItsFirst99Bytes) {
  fake_base::push_shell_line(std::string("aa:bb:cc:dd:ee:ff") + std::string(300, ' '));
  obtain();
  EXPECT_THAT(bytes(), ElementsAre(0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF));
}

TEST_F(MacAddress, WithoutAnInterfaceTheAddressBecomesZeroLineByLine) {
  fake_base::push_shell_line("02:A5:1b:3C:d4:0E\n");
  obtain();
  std::string expected = "obtain_macaddr(line=815):buffer=\n";
  for (int i = 0; i < 12; i++) expected += "a2x(line=796):error mac addr!\n";
  for (int i = 0; i < 6; i++) {
    expected += "obtain_macaddr(line=820):macaddr[" + std::to_string(i) + "]=0x0\n";
  }
  EXPECT_EQ(obtain(), expected);
  EXPECT_THAT(bytes(), ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST_F(MacAddress, WithoutAPipeTheAddressIsLeftAlone) {
  fake_base::push_shell_line("02:A5:1b:3C:d4:0E\n");
  obtain();
  fake_base::fail_next_pipe();
  EXPECT_EQ(obtain(), "obtain_macaddr(line=810):popen error!\n");
  EXPECT_THAT(bytes(), ElementsAre(0x02, 0xA5, 0x1B, 0x3C, 0xD4, 0x0E));
}

}  // namespace
}  // namespace supervisor
