// What two streams of a file prove together.
#include <gtest/gtest.h>

#include <string>

#include "groundstation/media/download.h"

namespace groundstation {
namespace {

ChunkList chunks(const std::string& text) {
  ChunkList list;
  for (const char& letter : text) {
    const auto* byte = reinterpret_cast<const uint8_t*>(&letter);
    list.append({byte, 1}, chunk_hash({byte, 1}));
  }
  return list;
}

std::string merge(const std::string& one, const std::string& other) {
  ChunkList merged;
  if (!merge_chunks(chunks(one), chunks(other), &merged)) return "contradiction";
  std::string text;
  for (size_t i = 0; i < merged.size(); i++) text += static_cast<char>(merged.bytes(i)[0]);
  return text;
}

TEST(MediaChunks, Merging) {
  EXPECT_EQ(merge("ABDEF", "ACDEG"), "ABDEF");  // B or C first? F or G? The first of equal runs
  EXPECT_EQ(merge("ABDF", "ABCDEF"), "ABCDEF");
  EXPECT_EQ(merge("BCE", "ABDE"), "ABCE");
  EXPECT_EQ(merge("", "AB"), "AB");
  EXPECT_EQ(merge("AB", ""), "AB");
  EXPECT_EQ(merge("ACD", "ABC"), "ABCD");
  EXPECT_EQ(merge("AD", "ABCD"), "ABCD");
  EXPECT_EQ(merge("AXD", "ABCD"), "ABCD");
  EXPECT_EQ(merge("AB", "BA"), "contradiction");
  EXPECT_EQ(merge("AA", "A"), "contradiction");
}

}  // namespace
}  // namespace groundstation
