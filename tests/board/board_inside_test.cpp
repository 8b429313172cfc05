// What a program finds inside a virtual board. Runs inside one.
//
// With "--set-clock SECONDS" it is instead a program that sets the clock, for the test of the shim;
// it refuses unless the shim is preloaded.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>

#include "base/descriptor.h"

namespace board_tests {
namespace {

using base::Descriptor;

constexpr int kWaitMs = 3000;

sockaddr_in address(const char* host, uint16_t port) {
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  ::inet_pton(AF_INET, host, &to.sin_addr);
  return to;
}

// A UDP socket bound on this network.
Descriptor bound_socket(const char* host, uint16_t port) {
  Descriptor made(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_in here = address(host, port);
  EXPECT_EQ(::bind(made.get(), reinterpret_cast<const sockaddr*>(&here), sizeof here), 0) << host;
  return made;
}

// The same on the network of the peer: only the thread that makes the socket moves there.
Descriptor peer_socket(const char* host, uint16_t port) {
  Descriptor made;
  std::thread([&] {
    const char* path = std::getenv("BOARD_PEER_NETNS");
    ASSERT_NE(path, nullptr);
    const Descriptor network(::open(path, O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::setns(network.get(), CLONE_NEWNET), 0) << std::strerror(errno);
    made = bound_socket(host, port);
  }).join();
  return made;
}

void send_text(const Descriptor& from, const std::string& text, const sockaddr_in& to) {
  ASSERT_EQ(::sendto(from.get(), text.data(), text.size(), 0,
                     reinterpret_cast<const sockaddr*>(&to), sizeof to),
            static_cast<ssize_t>(text.size()));
}

// What can be read within the time, up to `size` bytes; empty when nothing comes.
std::string read_text(const Descriptor& from, size_t size) {
  std::string text;
  while (text.size() < size) {
    pollfd wait{.fd = from.get(), .events = POLLIN, .revents = 0};
    if (::poll(&wait, 1, kWaitMs) <= 0) break;
    char piece[256];
    const ssize_t count = ::read(from.get(), piece, std::min(sizeof piece, size - text.size()));
    if (count <= 0) break;
    text.append(piece, static_cast<size_t>(count));
  }
  return text;
}

TEST(BoardInside, DatagramsPassBetweenTheBoardAndThePeer) {
  const Descriptor board = bound_socket("192.168.31.1", 8888);
  const Descriptor peer = peer_socket("192.168.31.111", 8888);
  ASSERT_TRUE(peer.open());
  send_text(board, "to the peer", address("192.168.31.111", 8888));
  EXPECT_EQ(read_text(peer, 11), "to the peer");
  send_text(peer, "to the board", address("192.168.31.1", 8888));
  EXPECT_EQ(read_text(board, 12), "to the board");
}

TEST(BoardInside, PeerIsInTheArpTableOfWlan0) {
  const Descriptor board = bound_socket("192.168.31.1", 9001);
  const Descriptor peer = peer_socket("192.168.31.111", 9001);
  send_text(peer, "x", address("192.168.31.1", 9001));
  ASSERT_EQ(read_text(board, 1), "x");
  send_text(board, "y", address("192.168.31.111", 9001));
  ASSERT_EQ(read_text(peer, 1), "y");

  arpreq request{};
  const sockaddr_in who = address("192.168.31.111", 0);
  std::memcpy(&request.arp_pa, &who, sizeof who);
  std::strcpy(request.arp_dev, "wlan0");
  ASSERT_EQ(::ioctl(board.get(), SIOCGARP, &request), 0) << std::strerror(errno);
  unsigned char mac[6];
  std::memcpy(mac, request.arp_ha.sa_data, sizeof mac);
  EXPECT_THAT(mac, ::testing::ElementsAre(0x02, 0x4b, 0x9c, 0xde, 0xf0, 0x6f));
}

TEST(BoardInside, LoopbackIsUp) {
  const Descriptor one = bound_socket("127.0.0.1", 7878);
  const Descriptor other = bound_socket("127.0.0.1", 7879);
  send_text(one, "near", address("127.0.0.1", 7879));
  EXPECT_EQ(read_text(other, 4), "near");
}

TEST(BoardInside, SerialLineCarriesEveryByteBothWays) {
  const Descriptor near(::open("/dev/ttyS1", O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_TRUE(near.open()) << std::strerror(errno);
  termios line{};
  ASSERT_EQ(::tcgetattr(near.get(), &line), 0);
  EXPECT_NE(line.c_lflag & (ICANON | ECHO), 0U) << "the program has to set the line up itself";
  ::cfmakeraw(&line);
  ::cfsetspeed(&line, B115200);
  ASSERT_EQ(::tcsetattr(near.get(), TCSANOW, &line), 0);
  termios set{};
  ASSERT_EQ(::tcgetattr(near.get(), &set), 0);
  EXPECT_EQ(::cfgetospeed(&set), static_cast<speed_t>(B115200));

  const Descriptor far(::open("/dev/ttyS1.far", O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_TRUE(far.open()) << std::strerror(errno);
  std::string every;
  for (int i = 0; i < 256; i++) every.push_back(static_cast<char>(i));
  ASSERT_EQ(::write(near.get(), every.data(), every.size()), 256);
  EXPECT_EQ(read_text(far, 256), every);
  ASSERT_EQ(::write(far.get(), every.data(), every.size()), 256);
  EXPECT_EQ(read_text(near, 256), every);
}

TEST(BoardInside, SerialLineOutlivesThoseWhoOpenIt) {
  for (const char* text : {"first", "again"}) {
    const Descriptor near(::open("/dev/ttyS1", O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios line{};
    ASSERT_EQ(::tcgetattr(near.get(), &line), 0);
    ::cfmakeraw(&line);
    ASSERT_EQ(::tcsetattr(near.get(), TCSANOW, &line), 0);
    const Descriptor far(::open("/dev/ttyS1.far", O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_EQ(::write(near.get(), text, 5), 5);
    EXPECT_EQ(read_text(far, 5), text);
  }
}

TEST(BoardInside, SerialLineThatNobodyReadsNeverBlocksTheWriter) {
  const Descriptor near(::open("/dev/ttyS1", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  termios line{};
  ASSERT_EQ(::tcgetattr(near.get(), &line), 0);
  ::cfmakeraw(&line);
  ASSERT_EQ(::tcsetattr(near.get(), TCSANOW, &line), 0);
  const std::string piece(1024, 'x');
  for (int sent = 0; sent < 512; sent++) {
    pollfd wait{.fd = near.get(), .events = POLLOUT, .revents = 0};
    ASSERT_EQ(::poll(&wait, 1, kWaitMs), 1) << "after " << sent << " KiB";
    ASSERT_GT(::write(near.get(), piece.data(), piece.size()), 0);
  }
  const Descriptor far(::open("/dev/ttyS1.far", O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(::tcflush(far.get(), TCIFLUSH), 0);
}

// A program that sets the clock. It makes sure that the call goes to the shim: otherwise it would
// be real.
int set_clock(const char* seconds) {
  Dl_info owner{};
  void* call = ::dlsym(RTLD_DEFAULT, "settimeofday");
  if (call == nullptr || ::dladdr(call, &owner) == 0 ||
      std::strstr(owner.dli_fname, "libclockshim") == nullptr) {
    std::cerr << "--set-clock needs libclockshim.so in LD_PRELOAD\n";
    return 2;
  }
  const timeval time{.tv_sec = std::atol(seconds), .tv_usec = 0};
  return reinterpret_cast<int (*)(const timeval*, const struct timezone*)>(call)(&time, nullptr);
}

}  // namespace
}  // namespace board_tests

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--set-clock") == 0) return board_tests::set_clock(argv[2]);
  ::testing::InitGoogleTest(&argc, argv);
  if (std::getenv("BOARD_PEER_NETNS") == nullptr) {
    std::cerr << "this test runs inside a board: board/board exec -- " << argv[0] << "\n";
    return 2;
  }
  return RUN_ALL_TESTS();
}
