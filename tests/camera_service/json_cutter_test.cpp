#include "camera_service/json_cutter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace camera_service {
namespace {

// All pieces that are ready: objects as they are, junk in angle brackets.
std::vector<std::string> pieces(JsonCutter& cutter) {
  std::vector<std::string> result;
  while (const auto piece = cutter.next())
    result.push_back(piece->object ? piece->text : "<" + piece->text + ">");
  return result;
}

std::vector<std::string> cut(const std::string& bytes) {
  JsonCutter cutter;
  cutter.feed(bytes);
  return pieces(cutter);
}

using Texts = std::vector<std::string>;

TEST(JsonCutter, ObjectsBackToBackAreCutApart) {
  EXPECT_EQ(cut(R"({"msg_id":257,"token":0}{"msg_id":4097,"token":1})"),
            (Texts{R"({"msg_id":257,"token":0})", R"({"msg_id":4097,"token":1})"}));
}

TEST(JsonCutter, ObjectInPiecesIsPutTogether) {
  JsonCutter cutter;
  cutter.feed(R"({"msg_)");
  EXPECT_TRUE(pieces(cutter).empty());
  cutter.feed(R"(id":1})");
  EXPECT_EQ(pieces(cutter), Texts{R"({"msg_id":1})"});
}

TEST(JsonCutter, BraceAndEscapedQuoteInsideAStringDoNotEndTheObject) {
  EXPECT_EQ(cut(R"({"a":"}\"}"}x)"), (Texts{R"({"a":"}\"}"})", "<x>"}));
}

TEST(JsonCutter, JunkBeforeAnObjectComesOutAsJunk) {
  EXPECT_EQ(cut(R"(abc}{"a":1})"), (Texts{"<abc}>", R"({"a":1})"}));
}

TEST(JsonCutter, BlanksBetweenObjectsVanish) {
  EXPECT_EQ(cut(" \r\n{}\t{} "), (Texts{"{}", "{}"}));
}

TEST(JsonCutter, OpenBracesDoNotSwallowTheNextObject) {
  EXPECT_EQ(cut(R"({{{"a":1})"), (Texts{"<{>", "<{>", R"({"a":1})"}));
}

TEST(JsonCutter, OpenStringEndsAtAControlByte) {
  EXPECT_EQ(cut("{\"abc\n{\"a\":1}"), (Texts{"<{\"abc>", "{\"a\":1}"}));
}

TEST(JsonCutter, EndlessObjectIsJunk) {
  // 4096 bytes are held at most: "{" and 4095 of the x, then the last x on its own.
  EXPECT_EQ(cut("{" + std::string(4096, 'x')), (Texts{"<{" + std::string(4095, 'x') + ">", "<x>"}));
}

TEST(JsonCutter, GivenUpBytesAreForgotten) {
  JsonCutter cutter;
  cutter.feed("{\"never ends");
  EXPECT_TRUE(pieces(cutter).empty());
  EXPECT_EQ(cutter.give_up(), "{\"never ends");
  cutter.feed("{}");
  EXPECT_EQ(pieces(cutter), Texts{"{}"});
}

}  // namespace
}  // namespace camera_service
