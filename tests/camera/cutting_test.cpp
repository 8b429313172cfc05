// How the bytes of one read are cut into messages.
#include <cjson/cJSON.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include "camera/camera_rig.h"
#include "camera/connection.h"
#include "camera/cutting.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera_test {
namespace {

using namespace std::string_literals;  // NOLINT

// Its SD report with code 255 shows that it has been handled.
const std::string kVisible = R"({"notify_id":5,"param":"x"})";

class Cutting : public CameraTest {
 protected:
  // How many times kVisible was handled; everything else must have been silent, but for pauses.
  size_t handled() {
    Timeline all = timeline();
    std::erase(all, "sleep 20");
    for (const std::string& event : all) EXPECT_EQ(event, sd_report("ff"));
    return all.size();
  }
  size_t handled_in(const std::string& read) {
    say(read);
    return handled();
  }
};

TEST_F(Cutting, TwoObjectsInOneReadAreBothHandled) {
  EXPECT_EQ(handled_in(kVisible + kVisible), 2U);
  EXPECT_EQ(handled_in(kVisible + kVisible + kVisible), 3U);
}

TEST_F(Cutting, TwoRepliesInOneReadAreHandledInOrder) {
  say(R"({"rval":-1,"msg_id":4}{"rval":0,"msg_id":4})");
  EXPECT_EQ(timeline(), (Timeline{camera_ack("01", "04", "00"), camera_ack("01", "00", "00")}));
}

TEST_F(Cutting, AReadThatEndsAfterABraceIsOver) {
  EXPECT_EQ(handled_in(kVisible), 1U);
  EXPECT_EQ(handled_in("{}"), 0U);
}

TEST_F(Cutting, WhiteSpaceAroundObjectsDoesNotMatter) {
  EXPECT_EQ(handled_in("\r\n\t " + kVisible + "\n\n" + kVisible + " \n"), 2U);
}

// The parser's memory: block number `first` and the ones behind it, `refused` in all, are not to be
// had.
struct {
  int first;
  int refused;
  int asked;
} blocks;
void* scarce_memory(size_t size) {
  const int number = blocks.asked++;
  if (number < blocks.first || number >= blocks.first + blocks.refused) return std::malloc(size);
  errno = ENOMEM;
  return nullptr;
}

class ScarceMemory {
 public:
  ScarceMemory(int first, int refused) {
    blocks = {first, refused, 0};
    cJSON_Hooks hooks{scarce_memory, std::free};
    cJSON_InitHooks(&hooks);
  }
  ~ScarceMemory() { cJSON_InitHooks(nullptr); }
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};

TEST_F(Cutting, AnAnswerSurvivesAMomentWithoutMemory) {
  for (int first = 0;; first++) {
    const ScarceMemory scarce(first, 1);
    EXPECT_EQ(handled_in(kVisible + kVisible), 2U) << first;
    if (blocks.asked <= first) break;
    ASSERT_LT(first, 100);
  }
  EXPECT_GT(blocks.asked, 5);
}

TEST_F(Cutting, WithoutMemoryForLongTheRestOfTheReadIsLost) {
  const ScarceMemory scarce(0, 1000);
  EXPECT_EQ(handled_in(kVisible + kVisible), 0U);
  EXPECT_LT(blocks.asked, 20);
}

TEST_F(Cutting, WhatIsNoJsonIsReadOnce) {
  const ScarceMemory scarce(0, 0);
  errno = ENOMEM;  // of somebody else
  EXPECT_EQ(handled_in("[nonsense" + kVisible), 0U);
  EXPECT_LE(blocks.asked, 2);
}

TEST_F(Cutting, OnlyTheGivenLengthIsCut) {
  const std::string read = kVisible + kVisible;
  camera::cam_handle_message(&camera::cam_json_context, read.c_str(), kVisible.size());
  EXPECT_EQ(handled(), 1U);
  camera::cam_handle_message(&camera::cam_json_context, read.c_str(), 0);
  EXPECT_EQ(handled(), 0U);
}

TEST_F(Cutting, ANestedParamLosesTheRestOfTheRead) {
  EXPECT_EQ(handled_in(R"({"msg_id":3,"param":{"a":1}})" + kVisible), 0U);
  EXPECT_EQ(handled_in(kVisible), 1U);
}

TEST_F(Cutting, TheObjectWithTheNestedParamItselfIsHandled) {
  EXPECT_EQ(handled_in(R"({"a":{"b":1},"notify_id":5,"param":"x"})" + kVisible), 1U);
}

TEST_F(Cutting, TheCutGoesOnBehindTheFirstBraceWhereverItStands) {
  EXPECT_EQ(handled_in(R"({"a":{"b":1} })" + kVisible), 0U);
  // What follows the brace inside the text, "} {\"..., is no value.
  EXPECT_EQ(handled_in(R"({"msg_id":3,"param":"} {\"a\":1}"})" + kVisible), 0U);
  // Here a number follows it, and behind the next brace stands a whole object.
  EXPECT_EQ(handled_in(R"({"msg_id":3,"param":"} 7 "})" + kVisible), 1U);
  // Here the rest of the first object and the start of the second make a text, "}{".
  EXPECT_EQ(handled_in(R"({"notify_id":5,"param":"}"})" + kVisible), 2U);
}

TEST_F(Cutting, AnObjectSplitOverTwoReadsIsLost) {
  EXPECT_EQ(handled_in(kVisible.substr(0, 12)), 0U);
  EXPECT_EQ(handled_in(kVisible.substr(12)), 0U);
  EXPECT_EQ(handled_in(kVisible + kVisible.substr(0, 12)), 1U);
  EXPECT_EQ(handled_in(kVisible.substr(12) + kVisible), 0U);
}

TEST_F(Cutting, AnObjectMayBeReplyAndNotification) {
  say(R"({"notify_id":5,"msg_id":4,"rval":0,"param":"x"})");
  EXPECT_EQ(timeline(), (Timeline{camera_ack("01", "00", "00"), sd_report("ff")}));
  say(R"({"notify_id":14,"msg_id":4,"rval":0,"param":"x"})");
  EXPECT_EQ(timeline(), Timeline{camera_ack("01", "00", "00")});
  EXPECT_EQ(handled_in(R"({"notify_id":5,"msg_id":99999,"rval":0,"param":"x"})"), 1U);
}

TEST_F(Cutting, GarbageDropsTheRestOfTheRead) {
  for (const std::string& garbage :
       {"garbage"s, "}"s, "}}}"s, "{"s, "{]"s, "'"s, "\xff\xfe\x80"s, "{\"msg_id\":"s, ","s,
        "{'a':1}"s, "{\"a\":1,}"s, "{\"a\" 1}"s, "nul"s, "\""s, "{\"a\":\"\\u12\"}"s, "-"s}) {
    EXPECT_EQ(handled_in(garbage + kVisible), 0U) << garbage;
    std::string read = kVisible + garbage;
    EXPECT_EQ(handled_in(read), 1U) << garbage;
    read += kVisible;
    EXPECT_EQ(handled_in(read), 1U) << garbage;
  }
}

TEST_F(Cutting, AValueThatIsNoObjectDoesNothing) {
  EXPECT_EQ(handled_in("7"), 0U);
  EXPECT_EQ(handled_in("null"), 0U);
  EXPECT_EQ(handled_in("\"{}\""), 0U);
  EXPECT_EQ(handled_in("[" + kVisible + "]"), 0U);
  EXPECT_EQ(handled_in(R"(["msg_id",769])"), 0U);
}

TEST_F(Cutting, IdsOfAnotherTypeAreMissing) {
  EXPECT_EQ(handled_in(R"({"notify_id":"5","param":"x"})"), 0U);
  EXPECT_EQ(handled_in(R"({"notify_id":null,"param":"x"})"), 0U);
  EXPECT_EQ(handled_in(R"({"msg_id":"4","rval":0})"), 0U);
  EXPECT_EQ(handled_in(R"({"msg_id":true,"rval":0})"), 0U);
  EXPECT_EQ(handled_in(R"({"msg_id":[4],"rval":0})"), 0U);
}

TEST_F(Cutting, NumbersBeyond32BitsAreNoKnownIds) {
  for (const char* number :
       {"4294967301", "-4294967291", "1e300", "-1e300", "1e999", "18446744073709551621"}) {
    EXPECT_EQ(handled_in(R"({"notify_id":)" + std::string(number) + R"(,"param":"x"})"), 0U)
        << number;
  }
}

TEST_F(Cutting, AFullReadOfBracesIsDropped) {
  EXPECT_EQ(handled_in(std::string(4096, '{')), 0U);
  EXPECT_EQ(handled_in(std::string(4096, '}')), 0U);
  EXPECT_EQ(handled_in(std::string(4096, '[')), 0U);
  EXPECT_EQ(handled_in(std::string(4096, '"')), 0U);
  EXPECT_EQ(handled_in(std::string(4096, ' ')), 0U);
  EXPECT_EQ(handled_in(kVisible), 1U);
}

TEST_F(Cutting, DeepNestingIsDropped) {
  std::string deep;
  while (deep.size() < 4080) deep += "{\"a\":";
  EXPECT_EQ(handled_in(deep), 0U);
  std::string arrays = R"({"msg_id":3,"param":)" + std::string(2000, '[') + std::string(2000, ']');
  EXPECT_EQ(handled_in(arrays + "}" + kVisible), 0U);
  EXPECT_EQ(handled_in(kVisible), 1U);
}

TEST_F(Cutting, AnEmbeddedZeroByteEndsTheRead) {
  EXPECT_EQ(handled_in(kVisible + "\0"s + kVisible), 1U);
  EXPECT_EQ(handled_in("\0"s + kVisible), 0U);
  EXPECT_EQ(handled_in(kVisible.substr(0, 10) + "\0"s + kVisible.substr(10)), 0U);
}

TEST_F(Cutting, AFullReadOfSmallObjectsIsHandledWhole) {
  std::string read;
  while (read.size() + kVisible.size() <= 4096) read += kVisible;
  EXPECT_EQ(handled_in(read), 151U);  // 27 bytes each
}

TEST_F(Cutting, EveryTruncationAndEveryChangedByteIsHarmless) {
  const std::string whole =
      R"({"rval":0,"msg_id":2,"type":"fix_iso_value","param":"100","notify_id":1})";
  for (size_t length = 0; length <= whole.size(); length++) say(whole.substr(0, length));
  for (size_t at = 0; at < whole.size(); at++) {
    for (const char byte : {'\0', '"', '{', '}', '\\', '9', '-', '\xff'}) {
      std::string changed = whole;
      changed[at] = byte;
      say(changed);
    }
  }
  (void)timeline();
  EXPECT_EQ(handled_in(kVisible), 1U);
}

}  // namespace
}  // namespace camera_test
