// The peer's HEARTBEAT and the link configuration that it fetches from the card. The files are
// real; what cat prints is the recording fake's.
#include "flightlink/actions/link_configuration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "flightlink/actions/dispatch.h"
#include "flightlink/link_suite.h"
#include "flightlink/wire/link_status.h"

namespace flightlink {
namespace {

constexpr const char* kMac = "/tmp/SD0/destmac.conf";
constexpr const char* kChannel = "/tmp/SD0/channel.conf";
constexpr const char* kBandwidth = "/tmp/SD0/bw.conf";
const std::string kCat = "/bin/cat ";
const std::string kReadMac = kCat + kMac;
const std::string kReadChannel = kCat + kChannel;
const std::string kReadBandwidth = kCat + kBandwidth;

class LinkConfigurationBoard : public ::testing::Test {
 protected:
  LinkConfigurationBoard() { remove_all(); }
  ~LinkConfigurationBoard() override { remove_all(); }
  static void remove_all() {
    for (const char* path : {kMac, kChannel, kBandwidth}) std::filesystem::remove(path);
  }
  static void put(std::initializer_list<const char*> paths) {
    for (const char* path : paths) std::ofstream(path) << "x\n";
  }
  // What a push sends when the files hold these lines.
  static std::vector<Bytes> pushed(PeerCapture& peer, std::initializer_list<const char*> lines) {
    for (const char* line : lines) fake_base::push_shell_line(line);
    EXPECT_EQ(link_configuration_push(), 0);
    return peer.all();
  }
};

// The text field of a link configuration frame: 30 bytes from payload offset 2.
std::string text_of(const Bytes& frame) {
  return {frame.begin() + 8, std::find(frame.begin() + 8, frame.begin() + 38, 0)};
}

TEST_F(LinkConfigurationBoard, PushesTheThreeFilesInOrder) {
  put({kMac, kChannel, kBandwidth});
  with_peer([](PeerCapture& peer) {
    for (const char* line : {"02:4b:9c:de:f0:6f\n", "161\n", "20"})
      fake_base::push_shell_line(line);
    EXPECT_EQ(link_configuration_push(), 0);
    EXPECT_THAT(fake_base::commands(), ElementsAre(kReadMac, kReadChannel, kReadBandwidth));
    EXPECT_EQ(peer.next(),
              hex("fe 2c 00 25 00 3b 00 02 30 32 3a 34 62 3a 39 63 3a 64 65 3a 66 30 3a 36 66 " +
                  zeros(25) + "e5 94"));
    EXPECT_EQ(peer.next(), hex("fe 2c 01 25 00 3b 00 00 31 36 31 " + zeros(39) + "20 bc"));
    EXPECT_EQ(peer.next(), hex("fe 2c 02 25 00 3b 00 01 32 30 " + zeros(40) + "ac 4e"));
    // Never again.
    EXPECT_EQ(link_configuration_push(), 0);
    EXPECT_EQ(peer.next(), Bytes());
    EXPECT_EQ(fake_base::commands().size(), 3U);
  });
}

TEST_F(LinkConfigurationBoard, MissingFilesAreSkipped) {
  put({kChannel});
  with_peer([](PeerCapture& peer) {
    const std::vector<Bytes> frames = pushed(peer, {"36\n"});
    EXPECT_THAT(fake_base::commands(), ElementsAre(kReadChannel));
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0][7], 0);
    EXPECT_EQ(text_of(frames[0]), "36");
  });
}

TEST_F(LinkConfigurationBoard, ACardWithoutFilesCompletesThePushForGood) {
  with_peer([](PeerCapture& peer) {
    EXPECT_EQ(link_configuration_push(), 0);
    put({kMac, kChannel, kBandwidth});
    fake_base::push_shell_line("late\n");
    EXPECT_EQ(link_configuration_push(), 0);
    EXPECT_THAT(fake_base::commands(), IsEmpty());
    EXPECT_THAT(peer.all(), IsEmpty());
  });
}

TEST_F(LinkConfigurationBoard, AnEmptyMacFileAbortsThePushUntilTheNextHeartbeat) {
  put({kMac, kChannel, kBandwidth});
  with_peer([](PeerCapture& peer) {
    EXPECT_EQ(link_configuration_push(), -1);
    EXPECT_EQ(link_configuration_push(), -1);
    EXPECT_THAT(fake_base::commands(), ElementsAre(kReadMac, kReadMac));
    EXPECT_THAT(peer.all(), IsEmpty());
    EXPECT_EQ(pushed(peer, {"aa\n", "1\n", "2\n"}).size(), 3U);
  });
}

TEST_F(LinkConfigurationBoard, AnEmptyLaterFileStartsThePushAgainFromTheFirst) {
  put({kMac, kChannel, kBandwidth});
  with_peer([](PeerCapture& peer) {
    fake_base::push_shell_line("aa\n");
    EXPECT_EQ(link_configuration_push(), -1);
    EXPECT_THAT(fake_base::commands(), ElementsAre(kReadMac, kReadChannel));
    EXPECT_EQ(peer.all().size(), 1U);
    const std::vector<Bytes> frames = pushed(peer, {"aa\n", "1\n", "2\n"});
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[0][7], 2);
    EXPECT_EQ(frames[1][7], 0);
    EXPECT_EQ(frames[2][7], 1);
  });
}

TEST_F(LinkConfigurationBoard, TheTextHasAtMost29CharactersAndLosesOneNewline) {
  put({kMac, kChannel, kBandwidth});
  with_peer([](PeerCapture& peer) {
    const std::vector<Bytes> frames = pushed(peer, {"abcdefghijklmnopqrstuvwxyz0123456789\n",
                                                    "abcdefghijklmnopqrstuvwxyz012\n", "a b\r\n"});
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(text_of(frames[0]), "abcdefghijklmnopqrstuvwxyz012");
    EXPECT_EQ(text_of(frames[1]), "abcdefghijklmnopqrstuvwxyz012");
    EXPECT_EQ(text_of(frames[2]), "a b\r");
    for (const Bytes& frame : frames) {
      ASSERT_EQ(frame.size(), 52U);
      EXPECT_EQ(frame[6], 0);
      EXPECT_EQ(frame[37], 0);
      EXPECT_EQ(Bytes(frame.begin() + 38, frame.begin() + 50), Bytes(12, 0));
    }
  });
}

int heartbeat(uint32_t custom_mode, uint8_t system_status) {
  MavlinkMessage message{};
  for (size_t i = 0; i < 4; i++) {
    message.payload[i] = static_cast<uint8_t>(custom_mode >> (8 * i));
  }
  message.payload[7] = system_status;
  message.len = 9;
  return peer_dispatch(&message);
}

void expect_peer(int nibble, int link_status) {
  EXPECT_EQ(mavlink_context.peer_nibble.load(), nibble);
  EXPECT_EQ(get_link_status(), link_status);
}

TEST_F(LinkConfigurationBoard, AHeartbeatStoresNibbleAndLinkStatus) {
  in_fresh_process([] {
    reset_link();
    EXPECT_EQ(heartbeat(0, 0xA2), 0);
    expect_peer(10, 2);
    heartbeat(0, 0x52);
    expect_peer(5, 2);
    heartbeat(0xF503, 94);  // 5e
    expect_peer(5, 14);
    heartbeat(0xF504, 95);  // 5f
    EXPECT_EQ(get_link_status(), 15);
    heartbeat(0x1F503, 0x13);
    expect_peer(1, 3);
    heartbeat(0, 0);
    expect_peer(0, 0);
  });
}

TEST_F(LinkConfigurationBoard, AnAnnouncingHeartbeatOnlyPushes) {
  put({kChannel});
  with_peer([](PeerCapture& peer) {
    mavlink_context.peer_nibble.store(10);
    set_link_status(2);
    EXPECT_EQ(heartbeat(0xF503, 95), -1);  // the file holds nothing yet
    expect_peer(10, 2);
    EXPECT_THAT(peer.all(), IsEmpty());
    fake_base::push_shell_line("36\n");
    EXPECT_EQ(heartbeat(0xF503, 95), 0);
    EXPECT_EQ(peer.all().size(), 1U);
    expect_peer(10, 2);
  });
}

TEST_F(LinkConfigurationBoard, EveryHeartbeatTriesThePush) {
  put({kMac});
  with_peer([](PeerCapture& peer) {
    heartbeat(0, 0x52);
    heartbeat(0, 0x52);
    EXPECT_THAT(fake_base::commands(), ElementsAre(kReadMac, kReadMac));
    fake_base::push_shell_line("aa\n");
    heartbeat(0, 0x52);
    heartbeat(0, 0x52);
    EXPECT_EQ(fake_base::commands().size(), 3U);
    EXPECT_EQ(peer.all().size(), 1U);
  });
}

}  // namespace
}  // namespace flightlink
