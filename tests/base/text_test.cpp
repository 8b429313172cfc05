#include "base/text.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

TEST(FormatText, ReturnsTheLengthOfTheText) {
  char text[16];
  EXPECT_EQ(base::format_text(text, "%s=%d", "colstyle", 2), 10U);
  EXPECT_STREQ(text, "colstyle=2");
}

TEST(FormatText, FillsTheBufferToTheLastByte) {
  char text[5];
  EXPECT_EQ(base::format_text(text, "%d", 1234), 4U);
  EXPECT_STREQ(text, "1234");
}

TEST(FormatText, CutsWhereTheBufferEndsAndTerminates) {
  char text[5] = {'#', '#', '#', '#', '#'};
  EXPECT_EQ(base::format_text(text, "%d", 123456), 4U);
  EXPECT_STREQ(text, "1234");
}

TEST(FormatText, ABufferOfOneHoldsOnlyTheTerminator) {
  char text[1] = {'#'};
  EXPECT_EQ(base::format_text(text, "%s", "x"), 0U);
  EXPECT_EQ(text[0], '\0');
}

TEST(FormatText, WhatCannotBeFormattedIsEmpty) {
  char text[5] = {'#', '#', '#', '#', '#'};
  const wchar_t no_letter[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
  EXPECT_EQ(base::format_text(text, "%ls", no_letter), 0U);
  EXPECT_EQ(text[0], '\0');
}

TEST(SafeName, AcceptsWhatCamerasWrite) {
  EXPECT_TRUE(base::safe_name("20200101_120000AB.JPG"));
  EXPECT_TRUE(base::safe_name("a"));
  EXPECT_TRUE(base::safe_name("Az09._-"));
  EXPECT_TRUE(base::safe_name("...x"));
}

TEST(SafeName, RefusesNothingAndTheTwoFolders) {
  EXPECT_FALSE(base::safe_name(""));
  EXPECT_FALSE(base::safe_name("."));
  EXPECT_FALSE(base::safe_name(".."));
}

TEST(SafeName, RefusesEveryByteWithAMeaningOfItsOwn) {
  int refused = 0;
  for (int byte = 0; byte < 256; byte++) {
    const char name[2] = {'a', static_cast<char>(byte)};
    if (!base::safe_name(std::string_view(name, 2))) refused++;
  }
  // 26 + 26 letters, 10 digits and three more are left.
  EXPECT_EQ(refused, 256 - 65);
  EXPECT_FALSE(base::safe_name("a/b"));
  EXPECT_FALSE(base::safe_name("a b"));
  EXPECT_FALSE(base::safe_name("a;b"));
  EXPECT_FALSE(base::safe_name("$(a)"));
  EXPECT_FALSE(base::safe_name("`a`"));
  EXPECT_FALSE(base::safe_name(std::string_view("a\0b", 3)));
  EXPECT_FALSE(base::safe_name("a\n"));
}

}  // namespace
