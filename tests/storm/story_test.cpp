// What is made of the service's lines, and of two looks at a process or at the disk.
#include "storm/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "storm/footprint.h"

namespace storm {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

void tell(Story& story, std::initializer_list<const char*> lines) {
  for (const char* line : lines) story.line(line);
}

constexpr const char* kAsk = R"(< {"msg_id":2,"token":1,"param":"7","type":"sharpness"})";
constexpr const char* kGrant = R"(> {"rval":0,"msg_id":2,"type":"sharpness"})";
constexpr const char* kRefuse = R"(> {"rval":-1,"msg_id":2,"type":"sharpness"})";
constexpr const char* kSwitch = R"(< {"msg_id":772,"token":1})";
constexpr const char* kSwitched = R"(> {"rval":0,"msg_id":772})";

TEST(Story, AnAnswerConfirmsWhatWasAskedFor) {
  Story story;
  EXPECT_THAT(story.shown("sharpness"), ElementsAre(3));
  tell(story, {kAsk});
  EXPECT_THAT(story.shown("sharpness"), ElementsAre(3));
  tell(story, {kGrant});
  EXPECT_THAT(story.shown("sharpness"), ElementsAre(7));
  story.program_started();
  EXPECT_THAT(story.shown("sharpness"), ElementsAre(3));
}

TEST(Story, NeitherARefusalNorSilenceConfirms) {
  Story story;
  tell(story, {kAsk, kRefuse, kAsk, R"(muted: {"rval":0,"msg_id":2,"type":"sharpness"})"});
  EXPECT_THAT(story.shown("sharpness"), ElementsAre(3));
}

TEST(Story, WhatTheEndOfAConnectionMayHaveSwallowedIsNotKnown) {
  Story story;
  tell(story, {kAsk, kGrant, "client 1 gone"});
  EXPECT_THAT(story.shown("sharpness"), UnorderedElementsAre(3, 7));
  tell(story, {kAsk, kGrant});
  EXPECT_THAT(story.shown("sharpness"), ElementsAre(7));
}

TEST(Story, GarbageMaySwallowAnswersUntilTheConnectionEnds) {
  Story story;
  tell(story, {R"(> \x00\xFF{)", kAsk, kGrant});
  EXPECT_THAT(story.shown("sharpness"), UnorderedElementsAre(3, 7));
  tell(story, {"client 1 gone", kAsk, kGrant});
  EXPECT_THAT(story.shown("sharpness"), ElementsAre(7));
}

TEST(Story, AResolutionIsConfirmedByThePreview) {
  Story story;
  tell(story, {R"(< {"msg_id":2,"token":1,"param":"1280x720 30P 16:9","type":"video_resolution"})",
               R"(> {"rval":0,"msg_id":2,"type":"video_resolution"})"});
  EXPECT_THAT(story.shown("video_resolution"), ElementsAre(1));
  tell(story, {R"(> {"rval":0,"msg_id":259})"});
  EXPECT_THAT(story.shown("video_resolution"), ElementsAre(6));
}

TEST(Story, TheModeIsKnownAsLongAsEverySwitchIsAnswered) {
  Story story;
  EXPECT_FALSE(story.mode_known()) << "a program that starts does not know it";
  story.mode_agreed();
  tell(story, {kSwitch, kSwitched, kSwitch, R"(> {"rval":-1,"msg_id":772})"});
  EXPECT_TRUE(story.mode_known());
  tell(story, {kSwitch, R"(muted: {"rval":0,"msg_id":772})"});
  EXPECT_FALSE(story.mode_known());
  story.mode_agreed();
  tell(story, {kSwitch, "client 1 gone"});
  EXPECT_FALSE(story.mode_known());
  story.mode_agreed();
  tell(story, {kSwitch, kSwitch});
  EXPECT_FALSE(story.mode_known());
}

TEST(Story, PhotosAndVideosAreThereUntilTheCardIsFormatted) {
  Story story;
  tell(story, {"photo 20200101_120000AB.JPG picture 00ff", "photo 20200101_120001 failed",
               "video 20200101_120000AB.MP4 of 2000000 bytes"});
  EXPECT_THAT(story.photos(), ElementsAre(std::pair("20200101_120000AB.JPG", "00ff")));
  EXPECT_THAT(story.recordings(), ElementsAre(std::pair("20200101_120000AB.MP4", 2000000U)));
  EXPECT_FALSE(story.formatted());
  tell(story, {"card formatted"});
  EXPECT_THAT(story.photos(), IsEmpty());
  EXPECT_THAT(story.recordings(), IsEmpty());
  EXPECT_TRUE(story.formatted());
}

TEST(Footprint, SaysWhatIsMoreOrLess) {
  const Footprint before{10, {{"socket", 4}, {"/dev/null", 1}}, 0};
  EXPECT_EQ(difference(before, before), "");
  EXPECT_EQ(difference(before, {11, {{"socket", 5}}, 0}),
            "10 threads, now 11; -1 descriptor of /dev/null; +1 descriptor of socket; ");
}

TEST(Files, NewChangedAndMissingOnesAreNamed) {
  const FileMap before{{"/a", "1"}, {"/b", "1"}};
  EXPECT_EQ(changed_file(before, before), "");
  EXPECT_EQ(changed_file(before, {{"/a", "1"}, {"/b", "2"}}), "/b was 1, is 2");
  EXPECT_EQ(changed_file(before, {{"/a", "1"}}), "/b is gone");
  EXPECT_EQ(changed_file(before, {{"/a", "1"}, {"/b", "1"}, {"/c", "1"}}), "/c is new, 1");
}

}  // namespace
}  // namespace storm
