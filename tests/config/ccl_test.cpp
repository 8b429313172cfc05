#include "config/ccl.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "base/text.h"
#include "config/conf_file.h"

namespace {

using namespace config;
using namespace config_test;

TEST(CclParse, WithoutHandleOrPathIsRefused) {
  CclHandle handle = profile_handle();
  handle.walking = 1;
  EXPECT_EQ(ccl_parse(nullptr, "/dev/null"), 22);
  EXPECT_EQ(ccl_parse(&handle, nullptr), 22);
  EXPECT_EQ(handle.table, nullptr);
  EXPECT_EQ(handle.walking, 1);
}

TEST(CclParse, AMissingFileIsToldAndGivesAnEmptyTable) {
  CclHandle handle = profile_handle();
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(ccl_parse(&handle, "/there/is/no/such.conf"), 2);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            ": Unable to open '/there/is/no/such.conf'\n");
  ASSERT_NE(handle.table, nullptr);
  EXPECT_EQ(ccl_iterate(&handle), nullptr);
  EXPECT_EQ(ccl_get(&handle, "ModelName"), nullptr);
  ccl_release(&handle);
}

TEST(CclParse, AFolderGivesAnEmptyTable) {
  CclHandle handle = profile_handle();
  EXPECT_EQ(ccl_parse(&handle, "/"), 0);
  ASSERT_NE(handle.table, nullptr);
  EXPECT_EQ(ccl_iterate(&handle), nullptr);
  ccl_release(&handle);
}

TEST(CclParse, TheThreeCharactersAreTheCallers) {
  const ConfFile file("; k = 'a ; b' ;\nk : 'c ; d' ; #\nl : \"e\"\n");
  CclHandle handle{};
  handle.comment_character = ';';
  handle.separator_character = ':';
  handle.string_character = '\'';
  EXPECT_EQ(ccl_parse(&handle, file.path()), 0);
  EXPECT_EQ(walk(&handle), (Pairs{{"k", "c ; d"}, {"l", "\"e\""}}));
  ccl_release(&handle);
}

TEST(CclParse, EachMakesAFreshTableAndBeginsANewWalk) {
  const ConfFile first("a=1\nb=2\n");
  const ConfFile second("c=3\n");
  CclHandle handle = profile_handle();
  EXPECT_EQ(ccl_parse(&handle, first.path()), 0);
  EXPECT_STREQ(ccl_iterate(&handle)->key, "a");
  CclHandle old = handle;
  EXPECT_EQ(ccl_parse(&handle, second.path()), 0);
  EXPECT_EQ(handle.walking, 0);
  EXPECT_EQ(walk(&handle), (Pairs{{"c", "3"}}));
  EXPECT_STREQ(ccl_iterate(&old)->key, "b");
  ccl_release(&old);
  ccl_release(&handle);
}

TEST(CclGet, AnswersByKey) {
  const ConfFile file("ModelName=FALK2\nEmpty=\n");
  CclHandle handle = profile_handle();
  ASSERT_EQ(ccl_parse(&handle, file.path()), 0);
  EXPECT_STREQ(ccl_get(&handle, "ModelName"), "FALK2");
  EXPECT_STREQ(ccl_get(&handle, "Empty"), "");
  EXPECT_EQ(ccl_get(&handle, "modelname"), nullptr);
  EXPECT_EQ(ccl_get(&handle, ""), nullptr);
  EXPECT_EQ(ccl_get(&handle, nullptr), nullptr);
  EXPECT_EQ(ccl_get(nullptr, "ModelName"), nullptr);
  ccl_release(&handle);
}

TEST(CclIterate, WalksInKeyOrderAndWraps) {
  const ConfFile file("b=2\na=1\nc=3\n");
  CclHandle handle = profile_handle();
  ASSERT_EQ(ccl_parse(&handle, file.path()), 0);
  EXPECT_EQ(handle.walking, 0);
  for (int round = 0; round < 2; round++) {
    EXPECT_STREQ(ccl_iterate(&handle)->key, "a");
    EXPECT_EQ(handle.walking, 1);
    EXPECT_STREQ(ccl_iterate(&handle)->key, "b");
    EXPECT_STREQ(ccl_iterate(&handle)->value, "3");
    EXPECT_EQ(ccl_iterate(&handle), nullptr);
  }
  ccl_release(&handle);
}

TEST(CclIterate, ACopyWalksOnItsOwn) {
  const ConfFile file("b=2\na=1\nc=3\n");
  CclHandle handle = profile_handle();
  ASSERT_EQ(ccl_parse(&handle, file.path()), 0);
  EXPECT_STREQ(ccl_iterate(&handle)->key, "a");
  CclHandle copy = handle;
  EXPECT_STREQ(ccl_iterate(&copy)->key, "b");
  EXPECT_STREQ(ccl_iterate(&copy)->key, "c");
  EXPECT_STREQ(ccl_iterate(&handle)->key, "b");
  EXPECT_EQ(ccl_iterate(&copy), nullptr);
  // Behind its own complete walk, a copy begins at the smallest key.
  CclHandle later = copy;
  EXPECT_EQ(walk(&later), (Pairs{{"a", "1"}, {"b", "2"}, {"c", "3"}}));
  ccl_release(&handle);
}

TEST(CclIterate, WithoutATableGivesNothing) {
  CclHandle handle = profile_handle();
  EXPECT_EQ(ccl_iterate(&handle), nullptr);
  EXPECT_EQ(ccl_iterate(nullptr), nullptr);
  EXPECT_EQ(ccl_get(&handle, "a"), nullptr);
}

TEST(CclRelease, MayBeCalledAgain) {
  const ConfFile file("a=1\n");
  CclHandle handle = profile_handle();
  ccl_release(&handle);
  ccl_release(nullptr);
  ASSERT_EQ(ccl_parse(&handle, file.path()), 0);
  ccl_release(&handle);
  ccl_release(&handle);
  EXPECT_EQ(ccl_iterate(&handle), nullptr);
  EXPECT_EQ(ccl_get(&handle, "a"), nullptr);
}

size_t levels(const BstNode* node) {
  return node == nullptr ? 0 : 1 + std::max(levels(node->link[0]), levels(node->link[1]));
}

// Ten thousand keys in any order give the least height, so that no walk ever changes the table.
TEST(CclParse, ATableIsFlatInWhateverOrderItsKeysCome) {
  std::vector<std::string> lines;
  for (int i = 0; i < 10000; i++) {
    char line[40];
    base::format_text(line, "key%05d=%d\n", i, i);
    lines.emplace_back(line);
  }
  std::vector<std::string> reversed(lines.rbegin(), lines.rend());
  std::vector<std::string> mixed = lines;
  std::shuffle(mixed.begin(), mixed.end(), std::mt19937(3));
  for (const auto* order : {&lines, &reversed, &mixed}) {
    std::string content;
    for (const std::string& line : *order) content += line;
    const ConfFile file(content);
    CclHandle handle = profile_handle();
    ASSERT_EQ(ccl_parse(&handle, file.path()), 0);
    EXPECT_EQ(levels(handle.table->root), 14U);
    const uint64_t generation = handle.table->generation;
    const Pairs pairs = walk(&handle);
    EXPECT_EQ(handle.table->generation, generation);
    ASSERT_EQ(pairs.size(), 10000U);
    EXPECT_EQ(pairs.front(), (Pairs::value_type{"key00000", "0"}));
    EXPECT_EQ(pairs[1234], (Pairs::value_type{"key01234", "1234"}));
    EXPECT_EQ(pairs.back(), (Pairs::value_type{"key09999", "9999"}));
    ccl_release(&handle);
  }
}

}  // namespace
