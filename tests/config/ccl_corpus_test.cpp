// Odd files, one by one, and the same at every place across the border of two chunks.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "config/conf_file.h"

namespace {

using namespace config_test;
using namespace std::string_literals;

struct Row {
  const char* name;
  std::string content;
  Pairs pairs;
  std::string messages;
};

std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }

const Row kRows[] = {
    {"Empty", "", {}, ""},
    {"OneLine", "ModelName=FALK2\n", {{"ModelName", "FALK2"}}, ""},
    {"NoLastNewline", "ModelName=FALK2", {}, ""},
    {"NoNewlineBehindTheLastOfTwo", "a=1\nb=2", {{"a", "1"}}, ""},
    {"EndsBehindASeparator", "a=1\nb=", {{"a", "1"}}, ""},
    {"EndsInAComment", "a=1\nb=2 # x", {{"a", "1"}}, ""},
    {"EndsInAString", "a=1\nb=\"2", {{"a", "1"}}, ""},
    {"EndsWithADuplicate", "a=1\na=2", {{"a", "1"}}, ": Ignoring duplicate key 'a' (FILE:2)\n"},
    {"OnlyComments", "# one = 1\n#\n  # two = 2\n", {}, ""},
    {"OnlyNewlines", "\n\n\n\n", {}, ""},
    {"OnlyBlanks", "   \t\v\f\r  ", {}, ""},
    {"NoSeparator", "just three words\nk=v\n", {{"k", "v"}}, ""},
    {"EmptyValue", "k=\n", {{"k", ""}}, ""},
    {"EmptyValueBehindBlanks", "  k  =  \n", {{"k", ""}}, ""},
    {"EmptyQuotedValue", "k=\"\"\n", {{"k", ""}}, ""},
    {"EmptyQuotedKey", "\"\"=v\n", {{"", "v"}}, ""},
    {"BlanksAroundBoth", " \t k \t = \t v \t \n", {{"k", "v"}}, ""},
    {"CarriageReturnIsWhiteSpace", "k=v\r\nl=\r\n\r\n", {{"k", "v"}, {"l", ""}}, ""},
    {"TheLastTokenIsTheValue", "k = a b\n", {{"k", "b"}}, ""},
    {"TheLastTokenIsTheKey", "a b = c\n", {{"b", "c"}}, ""},
    {"QuotedBlanksStay", "k = \" a b \"\n", {{"k", " a b "}}, ""},
    {"QuotedCommentStays", "k=\"a # b\"\n", {{"k", "a # b"}}, ""},
    {"QuotedSeparatorStays", "\"a=b\"=\"c=d\"\n", {{"a=b", "c=d"}}, ""},
    {"CommentEndsTheValue", "k = a # b\n", {{"k", "a"}}, ""},
    {"CommentRightBehindTheValue", "k=a#b\n", {{"k", "a"}}, ""},
    {"CommentRightBehindTheSeparator", "k=#b\n", {{"k", ""}}, ""},
    {"CommentBeforeTheSeparator", "k#=v\nl=w\n", {{"l", "w"}}, ""},
    {"CommentHoldsEverything", "k=v # \" = \" = #\nl=w\n", {{"k", "v"}, {"l", "w"}}, ""},
    {"QuoteInsideAWordIsALetter", "k=a\"b c\"\n", {{"k", "c\""}}, ""},
    {"WordRightBehindAString", "k=\"a b\"c\n", {{"k", "c"}}, ""},
    {"StringBehindAString", "k=\"a\"\"b\"\n", {{"k", "b"}}, ""},
    {"NoEscapes", "k=\"a\\\" b\n", {{"k", "b"}}, ""},
    {"UnterminatedString",
     "k=\"x\nl=w\n",
     {{"k", ""}, {"l", "w"}},
     ": Unterminated string (FILE:1)\n"},
    {"UnterminatedStringBehindAToken",
     "k=a \"x\n",
     {{"k", ""}},
     ": Unterminated string (FILE:1)\n"},
    {"UnterminatedKey", "\"k=v\nl=w\n", {{"l", "w"}}, ": Unterminated string (FILE:1)\n"},
    {"MissingKey", "a=1\n\n =v\nb=2\n", {{"a", "1"}, {"b", "2"}}, ": Missing key (FILE:3)\n"},
    {"MissingKeyBeforeACarriageReturn", "=\r\n", {}, ": Missing key (FILE:1)\n"},
    {"SecondSeparatorIsANewKey", "a=b=c\n", {{"b", "c"}}, ""},
    {"ADroppedKeyIsFree", "a=b=c\na=d\n", {{"a", "d"}, {"b", "c"}}, ""},
    {"TheSameKeyTwiceOnALine", "a=a=x\n", {{"a", "x"}}, ""},
    {"TwoSeparatorsInARow", "a==b\nc=d\n", {{"c", "d"}}, ": Missing key (FILE:1)\n"},
    {"TheFirstOfTwoWins",
     "a=1\na=2\n a = 3\n",
     {{"a", "1"}},
     ": Ignoring duplicate key 'a' (FILE:2)\n: Ignoring duplicate key 'a' (FILE:3)\n"},
    {"ADuplicateDoesNotEndTheLine",
     "a=1\na=b=2\n",
     {{"a", "1"}, {"b", "2"}},
     ": Ignoring duplicate key 'a' (FILE:2)\n"},
    {"MessagesInOrder",
     "a=1\na=\"x\n=\n",
     {{"a", "1"}},
     ": Ignoring duplicate key 'a' (FILE:2)\n: Unterminated string (FILE:2)\n"
     ": Missing key (FILE:3)\n"},
    {"OrderedByBytes",
     "b=1\na=2\n\xc3\xa4=3\nB=4\naa=5\n",
     {{"B", "4"}, {"a", "2"}, {"aa", "5"}, {"b", "1"}, {"\xc3\xa4", "3"}},
     ""},
    {"OrderedBehindEqualBeginnings",
     "abcdefghijklmnop2=1\nabcdefghijklmnop=2\nabcdefghijklmnop10=3\nabcdefghijklmno\xff=4\n"
     "abcdefgi=5\nabcdefgh\xff=6\nabcdefgh=7\nabcdefghijklmnop10=8\n",
     {{"abcdefgh", "7"},
      {"abcdefghijklmnop", "2"},
      {"abcdefghijklmnop10", "3"},
      {"abcdefghijklmnop2", "1"},
      {"abcdefghijklmno\xff", "4"},
      {"abcdefgh\xff", "6"},
      {"abcdefgi", "5"}},
     ": Ignoring duplicate key 'abcdefghijklmnop10' (FILE:8)\n"},
    {"ANulByteEndsAValue", "k=a\0b\nl=w\n"s, {{"k", "a"}, {"l", "w"}}, ""},
    {"ANulByteEndsAKey",
     "a\0b=1\na\0c=2\n"s,
     {{"a", "1"}},
     ": Ignoring duplicate key 'a' (FILE:2)\n"},
    {"ANulByteAlone", "\0=\0\n\"\0x\"=y\n"s, {{"", ""}}, ": Ignoring duplicate key '' (FILE:2)\n"},
    {"TokensOf31To33",
     std::string(31, 'a') + "=" + std::string(33, 'b') + "\n" + std::string(32, 'c') + "=" +
         std::string(32, 'd') + "\n\"" + std::string(33, 'e') + "\"=\"" + std::string(31, 'f') +
         "\"\n",
     {{std::string(31, 'a'), std::string(33, 'b')},
      {std::string(32, 'c'), std::string(32, 'd')},
      {std::string(33, 'e'), std::string(31, 'f')}},
     ""},
    {"AShortTokenBehindALongOne",
     "k=" + std::string(100, 'x') + " y\n" + std::string(100, 'z') + "=v\nl=w\n",
     {{"k", "y"}, {"l", "w"}, {std::string(100, 'z'), "v"}},
     ""},
};

class CclCorpus : public ::testing::TestWithParam<Row> {};

TEST_P(CclCorpus, GivesItsPairsAndMessages) {
  const Parsed parsed = parse(GetParam().content);
  EXPECT_EQ(parsed.result, 0);
  EXPECT_EQ(parsed.pairs, GetParam().pairs);
  EXPECT_EQ(parsed.messages, GetParam().messages);
}

// Blanks before the first token change nothing, so they move the content over byte 1024.
TEST_P(CclCorpus, GivesTheSameAcrossTwoChunks) {
  const std::string& content = GetParam().content;
  for (size_t before = 0; before <= content.size(); before++) {
    const Parsed parsed = parse(std::string(1024 - before, ' ') + content);
    ASSERT_EQ(parsed.pairs, GetParam().pairs) << before;
    ASSERT_EQ(parsed.messages, GetParam().messages) << before;
  }
}

INSTANTIATE_TEST_SUITE_P(Files, CclCorpus, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return row.param.name; });

TEST(CclCorpus, TokensOfAMebibyte) {
  const std::string value(1 << 20, 'v');
  const std::string key((1 << 20) + 1, 'k');
  const Parsed parsed = parse("a=" + value + "\n" + key + "=1\nb=\"" + value + " \"\n");
  EXPECT_EQ(parsed.result, 0);
  EXPECT_TRUE(parsed.pairs == (Pairs{{"a", value}, {"b", value + " "}, {key, "1"}}));
  EXPECT_EQ(parsed.messages, "");
}

TEST(CclCorpus, ALineOfAMebibyteOfTokens) {
  std::string line = "k =";
  while (line.size() < (1 << 20)) line += " token";
  const Parsed parsed = parse(line + " last\nl=w\n");
  EXPECT_EQ(parsed.pairs, (Pairs{{"k", "last"}, {"l", "w"}}));
}

TEST(CclCorpus, LinesAreCountedInAllStates) {
  const Parsed parsed = parse("# comment\n\nk=\"open\nword\n  \"string\"\nk=v\n=\n");
  EXPECT_EQ(parsed.messages,
            ": Unterminated string (FILE:3)\n: Ignoring duplicate key 'k' (FILE:6)\n"
            ": Missing key (FILE:7)\n");
}

// The first of two equal keys wins, among thousands as well.
TEST(CclCorpus, ManyKeysAgreeWithAnOrderedMap) {
  std::mt19937 random(11);
  const std::string letters = "ab\xe4";
  std::map<std::string, std::string> expected;
  std::string content;
  std::string messages;
  for (int line = 1; line <= 6000; line++) {
    std::string key(random() % 3 * 8, 'k');
    while (random() % 16 != 0) key += letters[random() % letters.size()];
    const std::string value = std::to_string(line);
    if (!expected.emplace(key, value).second) {
      messages += ": Ignoring duplicate key '" + key + "' (FILE:" + value + ")\n";
    }
    content += "\"" + key + "\"=" + value + "\n";
  }
  const Parsed parsed = parse(content);
  EXPECT_EQ(parsed.pairs, Pairs(expected.begin(), expected.end()));
  EXPECT_EQ(parsed.messages, messages);
}

// Whatever the bytes are, where they lie in the chunks does not matter, and keys come in order.
TEST(CclCorpus, RandomBytesGiveTheSameAcrossTwoChunks) {
  std::mt19937 random(7);
  const std::string bytes = "aabbc== \t#\"\"\n\n\n\r\0\xff"s;
  for (int round = 0; round < 300; round++) {
    std::string content;
    const size_t length = random() % 200;
    while (content.size() < length) content += bytes[random() % bytes.size()];
    const Parsed whole = parse(content);
    const Parsed moved = parse(std::string(1024 - random() % (length + 1), ' ') + content);
    ASSERT_EQ(whole.pairs, moved.pairs) << round;
    ASSERT_EQ(whole.messages, moved.messages) << round;
    for (size_t i = 1; i < whole.pairs.size(); i++) {
      ASSERT_LT(whole.pairs[i - 1].first, whole.pairs[i].first);
    }
  }
}

}  // namespace
