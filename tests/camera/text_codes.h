// The camera service's texts and the codes they stand for.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>

namespace camera_test {

struct TextCode {
  const char* text;
  int32_t code;
};

// A text has its code alone and in the middle of others; what is none of them has `none`.
inline void expect_codes(int32_t (*code_of)(const char*), std::initializer_list<TextCode> known,
                         std::initializer_list<const char*> unknown, int32_t none) {
  for (const TextCode& row : known) {
    EXPECT_EQ(code_of(row.text), row.code) << row.text;
    const std::string within = std::string("x").append(row.text).append("_y 2");
    EXPECT_EQ(code_of(within.c_str()), row.code) << within;
  }
  for (const char* text : unknown) EXPECT_EQ(code_of(text), none) << text;
  EXPECT_EQ(code_of(nullptr), none);
}

}  // namespace camera_test
