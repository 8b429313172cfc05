// MAC binding on the board: the real iptables, read back and proved by traffic from two stations.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cctype>
#include <string>

#include "base/descriptor.h"
#include "flightlink/links/mac_bind.h"
#include "support/allocation_fault.h"
#include "support/board_files.h"
#include "support/child_process.h"
#include "support/loopback.h"
#include "support/station.h"

namespace flightlink {
namespace {

using base::Descriptor;
using support::Station;

const std::string kTable = "/tmp/macset.txt";
const std::string kSecondMac = "02:4b:9c:de:f0:70";
constexpr const char* kOpenRules = "-P INPUT ACCEPT\n-P FORWARD ACCEPT\n-P OUTPUT ACCEPT\n";

// As iptables prints them; it turns addresses into capitals in some versions.
std::string closed_rules(const std::string& mac) {
  return "-p input drop\n-p forward accept\n-p output accept\n"
         "-a input -s 127.0.0.1/32 -j accept\n"
         "-a input -m mac --mac-source " +
         mac + " -j accept\n-a output -s 127.0.0.1/32 -j accept\n";
}

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

sockaddr_in board_address(uint16_t port) { return support::host_address("192.168.31.1", port); }

class MacBindBoard : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { other_ = support::add_second_station(); }
  // The filter is up while a test may fail: nothing of it may reach the next one.
  MacBindBoard() { clear_mac_table(); }
  ~MacBindBoard() override { clear_mac_table(); }

  static std::string rules() { return support::run_command({"iptables", "-S"}).output; }

  // One accept of the application link.
  static int accept_from(const Station& station) {
    const Descriptor server(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    setsockopt(server.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    support::bind_to(server, board_address(8866));
    EXPECT_EQ(listen(server.get(), 1), 0);
    const Descriptor phone = station.open_socket(SOCK_STREAM);
    support::connect_to(phone, board_address(8866));
    pollfd waiting{server.get(), POLLIN, 0};
    EXPECT_EQ(poll(&waiting, 1, 3000), 1);
    const Descriptor accepted(accept(server.get(), nullptr, nullptr));
    const int result = set_mac_bind(accepted.get());
    bind_macaddr_from_table();
    return result;
  }

  const Station phone_ = support::peer_station();
  static Station other_;
};
Station MacBindBoard::other_;

TEST_F(MacBindBoard, WithoutBindingEveryStationGetsThrough) {
  EXPECT_EQ(rules(), kOpenRules);
  EXPECT_TRUE(phone_.reaches_the_board());
  EXPECT_TRUE(other_.reaches_the_board());
}

TEST_F(MacBindBoard, APhoneIsBoundWithoutMemoryOfTheProgram) {
  {
    // But for one command's buffer, whose loss has an answer of its own.
    const support::AllocationFault fault(support::Fault::kEvery);
    EXPECT_EQ(save_macaddr(kSecondMac.c_str()), 0);
    bind_macaddr_from_table();
    EXPECT_FALSE(fault.struck());
  }
  EXPECT_EQ(support::read_file(kTable), kSecondMac + "\n");
  EXPECT_EQ(lower(rules()), closed_rules(kSecondMac));
}

TEST_F(MacBindBoard, OnlyThePhoneAndTheLoopbackGetThroughUntilTheReset) {
  ASSERT_EQ(accept_from(phone_), 0);
  EXPECT_EQ(lower(rules()), closed_rules(phone_.mac));
  EXPECT_EQ(support::read_file(kTable), phone_.mac + "\n");
  EXPECT_TRUE(phone_.reaches_the_board());
  EXPECT_FALSE(other_.reaches_the_board());
  EXPECT_EQ(support::run_command({"ping", "-q", "-c1", "-W1", "127.0.0.1"}).status, 0);

  clear_mac_bind();
  EXPECT_EQ(rules(), kOpenRules);
  EXPECT_TRUE(other_.reaches_the_board());
  EXPECT_EQ(support::read_file(kTable), phone_.mac + "\n");
}

TEST_F(MacBindBoard, ANewPhoneReplacesTheOldOne) {
  ASSERT_EQ(accept_from(phone_), 0);
  clear_mac_bind();
  ASSERT_EQ(accept_from(other_), 0);
  EXPECT_EQ(lower(rules()), closed_rules(kSecondMac));
  EXPECT_EQ(support::read_file(kTable), kSecondMac + "\n");
  EXPECT_TRUE(other_.reaches_the_board());
  EXPECT_FALSE(phone_.reaches_the_board());
}

TEST_F(MacBindBoard, TheSamePhoneInCapitalsLeavesTheFileAsItIs) {
  const std::string before = "02:4B:9C:DE:F0:6F\n";
  support::write_file(kTable, before);
  ASSERT_EQ(accept_from(phone_), 0);
  EXPECT_EQ(support::read_file(kTable), before);
  EXPECT_TRUE(phone_.reaches_the_board());
  EXPECT_FALSE(other_.reaches_the_board());
}

TEST_F(MacBindBoard, AFailedLookUpAppliesTheTableAndTheResetOpensAgain) {
  support::write_file(kTable, kSecondMac + "\n");
  EXPECT_EQ(set_mac_bind(0), -1);
  bind_macaddr_from_table();
  EXPECT_EQ(lower(rules()), closed_rules(kSecondMac));
  clear_mac_bind();
  EXPECT_EQ(rules(), kOpenRules);
  EXPECT_TRUE(phone_.reaches_the_board());
}

// Nobody is let in, and nothing but the reset changes that.
TEST_F(MacBindBoard, ARuinedTableClosesTheInputAndTheResetOpensItAgain) {
  support::write_file(kTable, ";;zz;$(touch /tmp/ran);'\"\n\n;");
  bind_macaddr_from_table();
  EXPECT_FALSE(phone_.reaches_the_board());
  EXPECT_FALSE(support::file_exists("/tmp/ran"));
  clear_mac_bind();
  EXPECT_EQ(rules(), kOpenRules);
  EXPECT_TRUE(phone_.reaches_the_board());
}

TEST_F(MacBindBoard, TheOldFileIsReadByTheRealShell) {
  support::write_file(kTable, ";;;;;\n");  // six empty entries: full
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(save_macaddr(kSecondMac.c_str()), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "save_macaddr(line=264) MAX binding mac exist");
  EXPECT_EQ(support::read_file(kTable), ";;;;;\n");
}

TEST_F(MacBindBoard, LookingUpAnAddressPrintsItAndBindsNothing) {
  ASSERT_TRUE(phone_.reaches_the_board());
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(set_mac_bind_ip("192.168.31.111"), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "set_mac_bind_ip(line=375):ipaddr = 192.168.31.111\n"
            "set_mac_bind_ip(line=405):peer macaddr:024b9cdef06f\n");
  EXPECT_EQ(rules(), kOpenRules);
  EXPECT_FALSE(support::file_exists(kTable));
}

TEST_F(MacBindBoard, LookingUpAStationThatNobodyKnowsFails) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(set_mac_bind_ip("192.168.31.200"), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "ioctl SIOCGARP: No such device or address\n");
}

}  // namespace
}  // namespace flightlink
