// What MAC binding runs and prints, word for word. Nothing is run: the table is what the test says
// that awk prints.
#include "flightlink/links/mac_bind.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <functional>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "fake_base/fake_base.h"
#include "support/allocation_fault.h"
#include "support/loopback.h"

namespace flightlink {
namespace {

using Commands = std::vector<std::string>;

const std::string kList = R"(awk 'BEGIN{FS=";"}{for(x=1;x<=NF;x++){print $x}}' /tmp/macset.txt)";
const std::string kFlush = "iptables --flush";
const std::string kAccept = "iptables -P INPUT ACCEPT";
const std::string kForget = "rm /tmp/macset.txt";
const std::string kMac = "02:4b:9c:de:f0:6f";
const std::string kWrite = "echo \"02:4b:9c:de:f0:6f\" > /tmp/macset.txt";
const std::string kSaved =
    "save_macaddr(line=281):02:4b:9c:de:f0:6f\nsave_macaddr(line=291) save mac:" + kWrite + "\n";

class MacBind : public fake_base::FakeBaseTest {
 protected:
  static void table(const Commands& entries) {
    for (const std::string& entry : entries) fake_base::push_shell_line(entry);
  }

  // What was printed on standard output.
  static std::string printed_by(const std::function<void()>& call) {
    ::testing::internal::CaptureStdout();
    call();
    return ::testing::internal::GetCapturedStdout();
  }
  static std::string complaint_of(const std::function<void()>& call) {
    ::testing::internal::CaptureStderr();
    call();
    return ::testing::internal::GetCapturedStderr();
  }

  static std::string save(const std::string& mac, int expected = 0) {
    return printed_by([&] { EXPECT_EQ(save_macaddr(mac.c_str()), expected); });
  }
};

TEST_F(MacBind, TheFirstPhoneIsWrittenIntoTheTable) {
  EXPECT_EQ(save(kMac), kSaved);
  EXPECT_EQ(fake_base::commands(), (Commands{kList, kWrite}));
}

TEST_F(MacBind, AKnownPhoneChangesNothing) {
  table({kMac});
  EXPECT_EQ(save(kMac), "save_macaddr(line=251) mac exist already:02:4b:9c:de:f0:6f\n");
  EXPECT_EQ(fake_base::commands(), Commands{kList});
}

TEST_F(MacBind, UpperAndLowerCaseAreTheSamePhone) {
  table({"02:4B:9C:DE:F0:6F"});
  EXPECT_EQ(save(kMac), "save_macaddr(line=251) mac exist already:02:4B:9C:DE:F0:6F\n");
  EXPECT_EQ(fake_base::commands(), Commands{kList});
}

TEST_F(MacBind, AnEntryThatBeginsWithTheAddressIsThePhone) {
  table({kMac + ":00"});
  EXPECT_EQ(save(kMac), "save_macaddr(line=251) mac exist already:02:4b:9c:de:f0:6f:00\n");
}

TEST_F(MacBind, ANewPhoneReplacesTheOldOneAndLiftsItsFilter) {
  table({"02:4b:9c:de:f0:70", kMac});
  EXPECT_EQ(save(kMac), kSaved);  // the second entry is not looked at any more
  EXPECT_EQ(fake_base::commands(), (Commands{kList, kForget, kFlush, kAccept, kWrite}));
}

TEST_F(MacBind, EmptyEntriesAreCountedAndFourAreNotTooMany) {
  table({"", "", "", ""});
  EXPECT_EQ(save(kMac), kSaved);
  EXPECT_EQ(fake_base::commands(), (Commands{kList, kWrite}));
}

TEST_F(MacBind, FiveEntriesAreAFullTable) {
  table({"", "", "", "", ""});
  EXPECT_EQ(save(kMac), "save_macaddr(line=264) MAX binding mac exist");
  EXPECT_EQ(fake_base::commands(), Commands{kList});
}

TEST_F(MacBind, APhoneAmongEmptyEntriesIsFound) {
  table({"", "", "", "", "", kMac});
  EXPECT_EQ(save(kMac), "save_macaddr(line=251) mac exist already:02:4b:9c:de:f0:6f\n");
}

TEST_F(MacBind, ShortageOfMemoryFailsAndWritesNothing) {
  const support::AllocationFault no_memory(support::Fault::kNewArray);
  const std::string printed = save(kMac, -1);
  EXPECT_EQ(printed,
            "save_macaddr(line=281):02:4b:9c:de:f0:6f\nsave_macaddr(line=285) get memory failed!");
  EXPECT_EQ(fake_base::commands(), Commands{kList});
}

TEST_F(MacBind, ATextThatIsNoAddressReachesNoShell) {
  for (const char* text : {"\"; reboot #", "02:4b:9c:de:f0:6f$(x)", "02 4b", "02:4b\n"}) {
    EXPECT_EQ(save(text, -1), "");
  }
  EXPECT_EQ(fake_base::events(), Commands{});
}

TEST_F(MacBind, TheFilterLetsTheTableAndTheLoopbackIn) {
  table({kMac, "02:4b:9c:de:f0:70"});
  const std::string first = "iptables -A INPUT -m mac --mac-source 02:4b:9c:de:f0:6f -j ACCEPT";
  const std::string second = "iptables -A INPUT -m mac --mac-source 02:4b:9c:de:f0:70 -j ACCEPT";
  EXPECT_EQ(printed_by(bind_macaddr_from_table),
            "bind_macaddr_from_table(line=216):" + first + "\n" +
                "bind_macaddr_from_table(line=216):" + second + "\n");
  EXPECT_EQ(fake_base::commands(),
            (Commands{kFlush, kList, first, second, "iptables -I INPUT -s 127.0.0.1 -j ACCEPT",
                      "iptables -I OUTPUT -s 127.0.0.1 -j ACCEPT", "iptables -P INPUT DROP"}));
}

TEST_F(MacBind, AnEntryThatIsNoAddressReachesNoShell) {
  table({"02:00 -j ACCEPT; reboot #", "`reboot`", "$(reboot)"});
  EXPECT_EQ(printed_by(bind_macaddr_from_table), "");
  EXPECT_EQ(fake_base::commands(),
            (Commands{kFlush, kList, "iptables -I INPUT -s 127.0.0.1 -j ACCEPT",
                      "iptables -I OUTPUT -s 127.0.0.1 -j ACCEPT", "iptables -P INPUT DROP"}));
}

TEST_F(MacBind, AResetOpensTheInputAndKeepsTheTable) {
  EXPECT_EQ(printed_by(clear_mac_bind), "clear_mac_bind(line=411):clear mac bind!\n");
  EXPECT_EQ(fake_base::commands(), (Commands{kFlush, kAccept}));
}

TEST_F(MacBind, ForgettingTheTableOpensTheInput) {
  EXPECT_EQ(printed_by(clear_mac_table), "");
  EXPECT_EQ(fake_base::commands(), (Commands{kForget, kFlush, kAccept}));
}

TEST_F(MacBind, NoSocketIsRefusedWithoutAWord) {
  EXPECT_EQ(complaint_of([] { EXPECT_EQ(set_mac_bind(0), -1); }), "");
  EXPECT_EQ(fake_base::events(), Commands{});
}

TEST_F(MacBind, ASocketWithoutAPeerIsRefused) {
  const base::Descriptor alone(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  EXPECT_EQ(complaint_of([&] { EXPECT_EQ(set_mac_bind(alone.get()), -1); }),
            "getpeername:: Transport endpoint is not connected\n");
  EXPECT_EQ(fake_base::events(), Commands{});
}

// The loopback address is in no ARP table.
TEST_F(MacBind, APeerThatTheArpTableLacksIsRefusedAndLeavesTheFilterAlone) {
  const base::Descriptor connected = support::open_socket(SOCK_DGRAM);
  support::connect_to(connected, support::loopback_address(9));
  const std::string complaint = complaint_of([&] { EXPECT_EQ(set_mac_bind(connected.get()), -1); });
  EXPECT_TRUE(complaint.starts_with("ioctl SIOCGARP: ")) << complaint;
  EXPECT_EQ(fake_base::events(), Commands{});
}

TEST_F(MacBind, LookingUpATextThatIsNoAddressFails) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(printed_by([] { EXPECT_EQ(set_mac_bind_ip("192.168.31"), -1); }),
            "set_mac_bind_ip(line=375):ipaddr = 192.168.31\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "inet_pton:: Invalid argument\n");
}

}  // namespace
}  // namespace flightlink
