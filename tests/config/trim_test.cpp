#include <gtest/gtest.h>

#include <string>

#include "config/korvanprofile.h"

namespace {

using namespace config;

struct Trimmed {
  const char* input;
  const char* left;
  const char* right;
  const char* both;
};

constexpr Trimmed kRows[] = {
    {"", "", "", ""},
    {"ab", "ab", "ab", "ab"},
    {"  ab", "ab", "  ab", "ab"},
    {"ab\t", "ab\t", "ab", "ab"},
    {" ab ", "ab ", " ab", "ab"},
    {" \t\n\v\f\ra b\r\f\v\n\t ", "a b\r\f\v\n\t ", " \t\n\v\f\ra b", "a b"},
    {" \t ", "", "", ""},
    {"\xa0x\xa0", "\xa0x\xa0", "\xa0x\xa0", "\xa0x\xa0"},
};

TEST(Trim, CutsTheWhiteSpaceOfItsSide) {
  for (const Trimmed& row : kRows) {
    char out[50];
    EXPECT_EQ(l_trim(out, row.input), out);
    EXPECT_STREQ(out, row.left);
    EXPECT_EQ(r_trim(out, row.input), out);
    EXPECT_STREQ(out, row.right);
    EXPECT_EQ(a_trim(out, row.input), out);
    EXPECT_STREQ(out, row.both);
  }
}

// "PROGRAM: korvanprofile:LINE: FUNCTION: Assertion `TEXT' failed."
std::string message(const char* function, const char* text) {
  return ": korvanprofile:[0-9]+: " + std::string(function) + ": Assertion `" + text +
         "' failed\\.";
}

TEST(TrimDeathTest, WantsTwoDifferentBuffers) {
  constexpr const char* kNoInput = "szInput != \\(\\(void \\*\\)0\\)";
  constexpr const char* kNoOutput = "szOutput != \\(\\(void \\*\\)0\\)";
  constexpr const char* kSame = "szOutput != szInput";
  char text[] = " a ";
  EXPECT_DEATH(l_trim(text, nullptr), message("l_trim", kNoInput));
  EXPECT_DEATH(l_trim(nullptr, text), message("l_trim", kNoOutput));
  EXPECT_DEATH(l_trim(text, text), message("l_trim", kSame));
  EXPECT_DEATH(r_trim(text, nullptr), message("r_trim", kNoInput));
  EXPECT_DEATH(r_trim(nullptr, text), message("r_trim", kNoOutput));
  EXPECT_DEATH(r_trim(text, text), message("r_trim", kSame));
  EXPECT_DEATH(a_trim(text, nullptr), message("a_trim", kNoInput));
  EXPECT_DEATH(a_trim(nullptr, text), message("a_trim", kNoOutput));
  EXPECT_DEATH(a_trim(text, text), message("l_trim", kSame));
}

}  // namespace
