#include "flightlink/frame/messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
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

// From messages.json come the tables of the documents and the dissector.
TEST(Messages, TheDocumentHasTheSameTable) {
  const auto document = nlohmann::json::parse(std::ifstream(SOURCE_DIR "/docs/messages.json"));
  const auto& rows = document.at("messages");
  ASSERT_EQ(rows.size(), std::size(kMessageTypes));
  for (size_t i = 0; i < rows.size(); i++) {
    const MessageType& type = *kMessageTypes[i];
    EXPECT_EQ(rows[i].at("id"), type.id);
    EXPECT_EQ(rows[i].at("name"), type.name);
    EXPECT_EQ(rows[i].at("length"), type.length) << type.name;
    EXPECT_EQ(rows[i].at("crc_extra"), type.crc_extra) << type.name;
  }
  const auto& others = document.at("other_crc_extra");
  for (int id = 0; id < 256; id++) {
    const std::string key = std::to_string(id);
    const bool has_row =
        std::any_of(rows.begin(), rows.end(), [id](const auto& row) { return row.at("id") == id; });
    ASSERT_FALSE(has_row && others.contains(key)) << id;
    if (has_row) continue;
    EXPECT_EQ(others.value(key, 0), mavlink_crc_extra(static_cast<uint8_t>(id))) << id;
  }
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
