#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "config/conf_file.h"
#include "config/korvanprofile.h"

namespace {

using namespace config;
using namespace config_test;
using namespace std::string_literals;

// "VALUE" when found, "-" when not (and then nothing was written); `out` starts as "before".
std::string read(const std::string& content, const char* section, const char* key) {
  const ConfFile file(content);
  char out[100] = "before";
  const int result = profile_read_string(file.path(), section, key, out);
  if (result == 0) return out;
  EXPECT_EQ(result, -1);
  EXPECT_STREQ(out, "before");
  return "-";
}

struct Row {
  std::string content;
  const char* section;
  const char* key;
  const char* value;  // as `read` gives it
};

void expect_read(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(read(row.content, row.section, row.key), row.value) << row.content;
  }
}

TEST(SectionReader, FindsTheKeyOfASection) {
  expect_read({{"[Net]\nchannel = 11\n", "Net", "channel", "11"},
               {"[A]\nk=1\n[B]\nk=2\n", "A", "k", "1"},
               {"[A]\nk=1\n[B]\nk=2\n", "B", "k", "2"},
               {"[A]\nj=0\nk=1\nk=2\n", "A", "k", "1"}});
}

TEST(SectionReader, AnotherSectionsKeyIsNotFound) {
  expect_read({{"[Net2]\nchannel = 11\n", "Net", "channel", "-"},
               {"[A]\nj=1\n[B]\nk=2\n", "A", "k", "-"},
               {"k=1\n[A]\n", "A", "k", "-"},
               {"[A]\nk=1\n", "B", "k", "-"},
               {"", "A", "k", "-"}});
}

TEST(SectionReader, AHeaderIsComparedByItsBeginning) {
  expect_read({{"[Net] and more\nk=1\n", "Net", "k", "1"},
               {"[Net\nk=1\n", "Net", "k", "-"},
               {"x[Net]\nk=1\n", "Net", "k", "-"},
               {"[]\nk=1\n", "", "k", "1"}});
}

TEST(SectionReader, TheNextHeaderEndsTheSearchEvenIfItIsTheSame) {
  expect_read({{"[A]\nj=1\n[A]\nk=2\n", "A", "k", "-"},
               {"[A]\n[A]\nk=2\n", "A", "k", "-"},
               {"[A]\n[ k=2\nk=3\n", "A", "k", "-"}});
}

TEST(SectionReader, WhiteSpaceBeforeALineIsSkipped) {
  EXPECT_EQ(read("\n \t[A]\n\n\v\t k=1\n", "A", "k"), "1");
}

TEST(SectionReader, CommentsAndLinesWithoutSeparatorAreSkipped) {
  expect_read({{"[A]\n#k=1\n  # k=2\nk 3\nk=4\n", "A", "k", "4"},
               {"[A]\n#k=1\n", "A", "#k", "-"},
               {"#[A]\nk=1\n", "A", "k", "-"}});
}

TEST(SectionReader, AKeyEndsAtABlankOrASign) {
  expect_read({{"[A]\na|b=1\n", "A", "a", "1"},
               {"[A]\na^b=1\n", "A", "a", "1"},
               {"[A]\na b=1\n", "A", "a", "1"},
               {"[A]\na\tb=1\n", "A", "a", "1"},
               {"[A]\na|b=1\n", "A", "a|b", "-"},
               {"[A]\na\r=1\n", "A", "a", "-"}});
}

TEST(SectionReader, KeysAreComparedWhole) {
  expect_read({{"[A]\nchannels=1\n", "A", "channel", "-"},
               {"[A]\nchan=1\n", "A", "channel", "-"},
               {"[A]\nChannel=1\n", "A", "channel", "-"},
               {"[A]\n=1\n", "A", "", "1"}});
}

TEST(SectionReader, AKeyOf31CharactersIsTheLongest) {
  const std::string fits(31, 'k');
  const std::string too_long(32, 'k');
  EXPECT_EQ(read("[A]\n" + fits + "=1\n", "A", fits.c_str()), "1");
  EXPECT_EQ(read("[A]\n" + too_long + "=1\n", "A", too_long.c_str()), "-");
  EXPECT_EQ(read("[A]\n" + too_long + "=1\n", "A", fits.c_str()), "-");
}

TEST(SectionReader, ASectionNameOf29CharactersIsTheLongest) {
  const std::string fits(29, 's');
  const std::string too_long(30, 's');
  EXPECT_EQ(read("[" + fits + "]\nk=1\n", fits.c_str(), "k"), "1");
  EXPECT_EQ(read("[" + too_long + "]\nk=1\n", too_long.c_str(), "k"), "-");
}

TEST(SectionReader, TheValueIsTrimmedAtBothEnds) {
  expect_read({{"[A]\nk= \t a b \t \n", "A", "k", "a b"},
               {"[A]\r\nk=v\r\n", "A", "k", "v"},
               {"[A]\nk=a=b#c\n", "A", "k", "a=b#c"},
               {"[A]\nk=v", "A", "k", "v"}});
}

TEST(SectionReader, AValueOfWhiteSpaceStaysAsItIs) {
  expect_read({{"[A]\nk= \t \n", "A", "k", " \t "}, {"[A]\nk=\r\n", "A", "k", "\r"}});
}

TEST(SectionReader, AnEmptyValueIsFoundAndLeavesTheOutput) {
  expect_read({{"[A]\nk=\n", "A", "k", "before"}, {"[A]\nk=", "A", "k", "before"}});
}

TEST(SectionReader, ALineIsCutAfter99Bytes) {
  // "k=" and 97 bytes fill a line; the rest is a line of its own.
  EXPECT_EQ(read("[A]\nk=" + std::string(150, 'v') + "\n", "A", "k"), std::string(97, 'v'));
  EXPECT_EQ(read("[A]\n" + std::string(99, 'x') + "k=1\n", "A", "k"), "1");
  EXPECT_EQ(read("[A]\n" + std::string(99, ' ') + "k=1\n", "A", "k"), "1");
  EXPECT_EQ(read("[A]\n" + std::string(98, 'x') + "k=1\n", "A", "k"), "-");
  EXPECT_EQ(read("[A]\n" + std::string(1 << 20, 'x') + "\nk=1\n", "A", "k"), "1");
}

TEST(SectionReader, ANulByteHidesTheRestOfItsLine) {
  expect_read({{"[A]\nk=a\0b\nl=2\n"s, "A", "k", "a"},
               {"[A]\nk=a\0b\nl=2\n"s, "A", "l", "2"},
               {"[A]\n\0k=1\nk=2\n"s, "A", "k", "2"},
               {"[A]\nk=\0\n"s, "A", "k", "before"}});
}

TEST(SectionReader, AFileThatCannotBeOpenedIsTold) {
  char out[100] = "before";
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(profile_read_string("/there/is/no/such.ini", "A", "k", out), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "openfile [/there/is/no/such.ini] error [No such file or directory]\n");
  EXPECT_STREQ(out, "before");
}

TEST(SectionReader, AFolderHoldsNothing) {
  char out[100] = "before";
  EXPECT_EQ(profile_read_string("/", "A", "k", out), -1);
  EXPECT_STREQ(out, "before");
}

TEST(SectionReader, NullArgumentsAreRefused) {
  const ConfFile file("[A]\nk=1\n");
  char out[100] = "before";
  EXPECT_EQ(profile_read_string(nullptr, "A", "k", out), -1);
  EXPECT_EQ(profile_read_string(file.path(), nullptr, "k", out), -1);
  EXPECT_EQ(profile_read_string(file.path(), "A", nullptr, out), -1);
  EXPECT_EQ(profile_read_string(file.path(), "A", "k", nullptr), -1);
  EXPECT_STREQ(out, "before");
}

}  // namespace
