#include "flightlink/frame/messages.h"

#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <string>

namespace flightlink {
namespace {

TEST(Messages, EveryTypeHasItsIdOnceAndTheCrcExtraOfTheParser) {
  int last = -1;
  std::set<std::string> names;
  for (const MessageType* type : kMessageTypes) {
    EXPECT_GT(type->id, last) << type->name;
    last = type->id;
    EXPECT_EQ(type->crc_extra, mavlink_crc_extra(type->id)) << type->name;
    EXPECT_TRUE(names.insert(type->name).second) << type->name;
  }
  EXPECT_EQ(std::size(kMessageTypes), 21U);
}

TEST(Messages, AFrameIsFinishedAsItsType) {
  MavlinkMessage message{};
  message.payload[1] = 5;
  EXPECT_EQ(finalize(&message, kSystemFlightController, kCommandAck), 11);
  EXPECT_EQ(message.msgid, 77);
  EXPECT_EQ(message.len, 3);
  EXPECT_EQ(message.sysid, 35);
  EXPECT_EQ(finalize_app(&message, kCameraAck), 15);
  EXPECT_EQ(message.msgid, 52);
  EXPECT_EQ(message.sysid, 36);
  EXPECT_EQ(finalize_peer(&message, kHeartbeat), 17);
  EXPECT_EQ(message.sysid, 37);
  EXPECT_EQ(seal(&message, 7, 9, kDataStream, 100), 12);
  EXPECT_EQ(message.msgid, 67);
  EXPECT_EQ(message.seq, 9);
  EXPECT_EQ(message.compid, 100);
}

}  // namespace
}  // namespace flightlink
