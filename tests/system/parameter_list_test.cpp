// The parameter list: the device profile of the board as messages on the peer link.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/fixtures.h"

namespace {

using namespace support;  // NOLINT
using Pairs = std::vector<std::pair<std::string, std::string>>;

constexpr const char* kProfile = "/korvan.conf";

std::string text_at(const Frame& frame, size_t offset, size_t size) {
  const std::string all(reinterpret_cast<const char*>(frame.payload.data()) + offset, size);
  EXPECT_EQ(all.back(), '\0');
  return all.c_str();
}

// What the peer is told; each frame's other fields are as they have to be.
Pairs pairs_of(PeerLink& peer) {
  const size_t mark = peer.mark();
  peer.send(message(21, Bytes(2)));
  const auto count = [&] {
    size_t messages = 0;
    for (const Frame& frame : peer.frames(mark)) messages += frame.id == 22 ? 1 : 0;
    return messages;
  };
  const auto first = peer.wait_for_id(22, seconds(5), mark);
  if (!first) return {};
  poll_until([&] { return count() >= first->u16(4); }, seconds(5));
  Pairs pairs;
  for (const Frame& frame : peer.frames(mark)) {
    if (frame.id != 22) continue;
    EXPECT_EQ(frame.system, 36);
    EXPECT_EQ(frame.payload.size(), 55U);
    EXPECT_EQ(frame.f32(0), 0.0F);
    EXPECT_EQ(frame.u16(4), first->u16(4));
    EXPECT_EQ(frame.u16(6), pairs.size() + 1);
    EXPECT_EQ(frame.u8(54), 11);
    pairs.emplace_back(text_at(frame, 8, 16), text_at(frame, 24, 30));
  }
  EXPECT_EQ(pairs.size(), first->u16(4));
  return pairs;
}

Pairs pairs_with(const std::string& profile) {
  write_file(kProfile, profile);
  PeerLink peer;
  RunningMaintask maintask;
  peer.keep_alive();
  EXPECT_TRUE(peer.wait_for_id(0, seconds(15), 0));
  const Pairs pairs = pairs_of(peer);
  EXPECT_EQ(pairs_of(peer), pairs);  // and again
  EXPECT_TRUE(maintask.runs());
  return pairs;
}

TEST(ParameterList, IsTheProfileInKeyOrder) {
  EXPECT_EQ(pairs_with("# Device profile\n"
                       "WifiChannel=149\n"
                       "ModelName=FALK2\n"
                       "Manufacturer=\"KORVAN # Camera\"\n"
                       "Empty=\n"
                       "a = b c\n"),
            (Pairs{{"Empty", ""},
                   {"Manufacturer", "KORVAN # Camera"},
                   {"ModelName", "FALK2"},
                   {"WifiChannel", "149"},
                   {"a", "c"}}));
}

TEST(ParameterList, CutsNamesAt15AndValuesAt29Characters) {
  std::string profile(
      "a23456789012345=v2345678901234567890123456789\n"
      "b234567890123456=w23456789012345678901234567890\n");
  profile.append(100000, 'x').append(1, '=').append(100000, 'y').append(1, '\n');
  EXPECT_EQ(pairs_with(profile), (Pairs{{"a23456789012345", "v2345678901234567890123456789"},
                                        {"b23456789012345", "w2345678901234567890123456789"},
                                        {std::string(15, 'x'), std::string(29, 'y')}}));
}

TEST(ParameterList, OfAnEmptyProfileIsEmpty) {
  write_file(kProfile, "# nothing\n");
  PeerLink peer;
  RunningMaintask maintask;
  peer.keep_alive();
  ASSERT_TRUE(peer.wait_for_id(0, seconds(15), 0));
  const size_t mark = peer.mark();
  peer.send(message(21, Bytes()));
  EXPECT_FALSE(peer.wait_for_id(22, milliseconds(500), mark));
  EXPECT_TRUE(maintask.runs());
}

}  // namespace
