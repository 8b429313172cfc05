#include "groundstation/flightside/app_frames.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace groundstation {
namespace {

TEST(AppFrames, ReadsWhatIsToBeSent) {
  const auto full = parse_app_frame("76:01 02@5", 9);
  ASSERT_TRUE(full.has_value());
  EXPECT_EQ(full->message.msgid, 76);
  EXPECT_EQ(full->message.payload, (std::vector<uint8_t>{1, 2}));
  EXPECT_EQ(full->sysid, 5);
  const auto bare = parse_app_frame("56", 9);
  ASSERT_TRUE(bare.has_value());
  EXPECT_TRUE(bare->message.payload.empty());
  EXPECT_EQ(bare->sysid, 9);
  EXPECT_EQ(parse_app_frame("21@37", 9)->sysid, 37);
  EXPECT_TRUE(parse_app_frame("1:" + std::string(510, 'a'), 9).has_value());
}

TEST(AppFrames, RefusesAnythingElse) {
  for (const std::string text :
       {"", ":01", "256", "-1", "x", "1:0", "1:zz", "1@", "1@256", "1:01@x"}) {
    EXPECT_FALSE(parse_app_frame(text, 9).has_value()) << text;
  }
  EXPECT_FALSE(parse_app_frame("1:" + std::string(512, 'a'), 9).has_value());
}

TEST(AppFrames, BytesComeBackAsTheSameFrameInAnyPieces) {
  const std::vector<uint8_t> bytes = app_frame_bytes({{30, {1, 2, 3}}, 5}, 200);
  ASSERT_EQ(bytes.size(), 11U);
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 9),
            (std::vector<uint8_t>{0xFE, 3, 200, 5, 0, 30, 1, 2, 3}));
  AppStream stream;
  std::vector<std::string> texts;
  for (const uint8_t byte : bytes) {
    stream.feed({&byte, 1}, [&](const flightlink::MavlinkMessage& frame) {
      texts.push_back(app_frame_text(frame));
    });
  }
  EXPECT_EQ(texts, std::vector<std::string>{"message 30 from 5, 3 bytes: 01 02 03"});
}

TEST(AppFrames, TheHeartbeatTellsTheCamerasAddress) {
  // 02:4b:9c:de:f0:01; the first four bytes are one little-endian number.
  const std::vector<uint8_t> bytes =
      app_frame_bytes({{0, {0xDE, 0x9C, 0x4B, 0x02, 0xF0, 0x01, 2, 1, 3}}, 36}, 0);
  std::vector<nlohmann::json> objects;
  AppStream().feed(bytes, [&](const flightlink::MavlinkMessage& frame) {
    objects.push_back(app_frame_json(frame));
    EXPECT_EQ(app_frame_text(frame), "heartbeat: camera 02:4b:9c:de:f0:01, binding on, recording");
  });
  ASSERT_EQ(objects.size(), 1U);
  EXPECT_EQ(objects[0]["mac"], "02:4b:9c:de:f0:01");
  EXPECT_EQ(objects[0]["payload"], "de 9c 4b 02 f0 01 02 01 03");
}

}  // namespace
}  // namespace groundstation
