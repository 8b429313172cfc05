// The device profile as a list of parameters. The profile is the board's "/korvan.conf".
#include "flightlink/actions/parameter_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "config/korvanprofile.h"
#include "flightlink/actions/dispatch.h"
#include "flightlink/link_suite.h"

namespace flightlink {
namespace {

// Each body runs in a process of its own: the frames' sequence starts at 0.
class ParameterList : public fake_base::FakeBaseTest {
 protected:
  ~ParameterList() override { std::filesystem::remove("/korvan.conf"); }

  static void load(const std::string& profile) {
    std::ofstream("/korvan.conf") << profile;
    ::testing::internal::CaptureStdout();
    config::CclInit();
    ::testing::internal::GetCapturedStdout();
    fake_base::reset();
  }
  static int ask() {
    MavlinkMessage message{};
    message.msgid = 21;
    return peer_dispatch(&message);
  }
};

std::string text_at(const Bytes& frame, size_t offset, size_t size) {
  const auto begin = frame.begin() + static_cast<ptrdiff_t>(6 + offset);
  return {begin, std::find(begin, begin + static_cast<ptrdiff_t>(size), 0)};
}
std::string name_of(const Bytes& frame) { return text_at(frame, 8, 16); }
std::string value_of(const Bytes& frame) { return text_at(frame, 24, 30); }

TEST_F(ParameterList, EachPairIsAMessageInKeyOrder) {
  in_fresh_process([] {
    load("WifiChannel=161\nModelName=FALK2\n");
    PeerCapture peer;
    EXPECT_EQ(ask(), 0);
    // float 0, 2 pairs, number 1, "ModelName", "FALK2", type 11.
    const Bytes first = peer.next();
    ASSERT_EQ(first.size(), 63U);
    EXPECT_EQ(Bytes(first.begin(), first.begin() + 61),
              hex("fe 37 00 24 00 16 00 00 00 00 02 00 01 00 4d 6f 64 65 6c 4e 61 6d 65 " +
                  zeros(7) + "46 41 4c 4b 32 " + zeros(25) + "0b"));
    const Bytes second = peer.next();
    ASSERT_EQ(second.size(), 63U);
    EXPECT_EQ(Bytes(second.begin(), second.begin() + 61),
              hex("fe 37 01 24 00 16 00 00 00 00 02 00 02 00 57 69 66 69 43 68 61 6e 6e 65 6c " +
                  zeros(5) + "31 36 31 " + zeros(27) + "0b"));
    EXPECT_EQ(peer.next(), Bytes());
    EXPECT_THAT(fake_base::sleeps(), ElementsAre(10, 10));
  });
}

TEST_F(ParameterList, LongNamesAndValuesAreCutAndTerminated) {
  in_fresh_process([] {
    // 15 and 16 characters of name, 29 and 30 of value.
    load(
        "a23456789012345=v2345678901234567890123456789\n"
        "b234567890123456=w23456789012345678901234567890\n"
        "c=\n");
    PeerCapture peer;
    EXPECT_EQ(ask(), 0);
    const std::vector<Bytes> frames = peer.all();
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(name_of(frames[0]), "a23456789012345");
    EXPECT_EQ(value_of(frames[0]), "v2345678901234567890123456789");
    EXPECT_EQ(name_of(frames[1]), "b23456789012345");
    EXPECT_EQ(value_of(frames[1]), "w2345678901234567890123456789");
    EXPECT_EQ(name_of(frames[2]), "c");
    EXPECT_EQ(value_of(frames[2]), "");
    for (const Bytes& frame : frames) {
      EXPECT_EQ(frame[6 + 23], 0);
      EXPECT_EQ(frame[6 + 53], 0);
      EXPECT_EQ(frame[6 + 54], 11);
      EXPECT_EQ(frame[6 + 4], 3);
    }
  });
}

TEST_F(ParameterList, CountAndNumberHave16Bits) {
  in_fresh_process([] {
    std::string profile;
    for (int i = 1000; i < 1300; i++) profile += "key" + std::to_string(i) + "=v\n";
    load(profile);
    PeerCapture peer;
    std::vector<Bytes> frames;
    fake_base::on_sleep([&](uint64_t) { frames.push_back(peer.next()); });
    EXPECT_EQ(ask(), 0);
    ASSERT_EQ(frames.size(), 300U);
    for (size_t i = 0; i < frames.size(); i++) {
      ASSERT_EQ(frames[i][10] + 256 * frames[i][11], 300);
      ASSERT_EQ(frames[i][12] + 256 * frames[i][13], static_cast<int>(i) + 1);
      ASSERT_EQ(name_of(frames[i]), "key" + std::to_string(1000 + i));
    }
    EXPECT_EQ(fake_base::sleeps().size(), 300U);
    EXPECT_THAT(fake_base::sleeps(), Each(10U));
  });
}

TEST_F(ParameterList, AnEmptyProfileSendsNothing) {
  in_fresh_process([] {
    PeerCapture peer;
    EXPECT_EQ(ask(), 0);  // never loaded
    load("# nothing\n");
    EXPECT_EQ(ask(), 0);
    EXPECT_THAT(peer.all(), IsEmpty());
    EXPECT_THAT(fake_base::events(), IsEmpty());
  });
}

TEST_F(ParameterList, EachRequestSendsAllAgain) {
  in_fresh_process([] {
    load("a=1\nb=2\n");
    PeerCapture peer;
    for (int i = 0; i < 3; i++) {
      EXPECT_EQ(ask(), 0);
      EXPECT_EQ(peer.all().size(), 2U);
    }
    load("c=3\n");
    EXPECT_EQ(ask(), 0);
    const std::vector<Bytes> frames = peer.all();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(name_of(frames[0]), "c");
  });
}

TEST_F(ParameterList, AReloadDuringTheWalkDoesNotDisturbIt) {
  in_fresh_process([] {
    load("a=1\nb=2\nc=3\n");
    PeerCapture peer;
    fake_base::on_sleep([](uint64_t) {
      static bool done = false;
      if (done) return;
      done = true;
      std::ofstream("/korvan.conf") << "z=9\n";
      ::testing::internal::CaptureStdout();
      config::profile_release();
      config::CclInit();
      ::testing::internal::GetCapturedStdout();
    });
    EXPECT_EQ(ask(), 0);
    const std::vector<Bytes> frames = peer.all();
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(name_of(frames[2]), "c");
    EXPECT_EQ(value_of(frames[2]), "3");
    EXPECT_EQ(frames[2][10], 3);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(name_of(peer.next()), "z");
  });
}

}  // namespace
}  // namespace flightlink
