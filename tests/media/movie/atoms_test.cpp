#include "media/movie/atoms.h"

#include <gtest/gtest.h>

#include "media/movie/mov_boxes.h"

namespace media {
namespace {

struct Seen {
  std::string type;
  std::string payload;
  bool operator==(const Seen&) const = default;
};
std::vector<Seen> seen;

int32_t note(MovIndex* /*context*/, const MovAtom* atom) {
  std::string type;
  for (int i = 0; i < 4; i++) type += mov_type_char(atom->type, i);
  seen.push_back({type, std::string(atom->payload, atom->payload + atom->size)});
  return type == "fail" ? -1 : 0;
}

struct Walk {
  int32_t result;
  std::string output;
  std::string errors;
};

Walk walk(const Bytes& bytes) {
  seen.clear();
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const int32_t result = mov_walk_atoms(bytes.data(), bytes.size(), note, nullptr);
  return {result, ::testing::internal::GetCapturedStdout(),
          ::testing::internal::GetCapturedStderr()};
}

TEST(MovAtoms, WalkCallsTheHandlerInOrderWithThePayloads) {
  const Walk done =
      walk(box("aaaa", text_bytes("one")) + long_box("bbbb", text_bytes("three")) + box("cccc"));
  EXPECT_EQ(done.result, 0);
  EXPECT_EQ(seen, (std::vector<Seen>{{"aaaa", "one"}, {"bbbb", "three"}, {"cccc", ""}}));
  EXPECT_EQ(done.output + done.errors, "");
}

TEST(MovAtoms, FewerThanEightBytesEndTheWalkQuietly) {
  for (size_t left = 0; left < 8; left++) {
    const Walk done = walk(box("aaaa") + Bytes(left, uint8_t{1}));
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(seen.size(), 1U);
    EXPECT_EQ(done.output + done.errors, "");
  }
}

TEST(MovAtoms, ARefusedAtomIsPrintedAndTheWalkGoesOn) {
  const Walk done = walk(box("fail", text_bytes("x")) + box("next"));
  EXPECT_EQ(done.result, 0);
  EXPECT_EQ(seen.size(), 2U);
  EXPECT_EQ(done.output, "process fail failed\n");
  EXPECT_EQ(done.errors, "");
}

TEST(MovAtoms, SizesBelowTheHeaderEndTheWalk) {
  for (const uint32_t size : {0U, 2U, 7U}) {
    const Walk done = walk(box("good") + be32({size}) + text_bytes("badd") + Bytes(16, uint8_t{0}));
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(seen.size(), 1U);
    EXPECT_EQ(done.errors, "atom size " + std::to_string(size) + " too small\n");
    EXPECT_EQ(done.output, "");
  }
}

TEST(MovAtoms, LongSizesBelowTheirHeaderEndTheWalk) {
  const Walk done = walk(be32({1}) + text_bytes("long") + be32({0, 15}) + Bytes(16, uint8_t{0}));
  EXPECT_EQ(done.result, -1);
  EXPECT_EQ(done.errors, "atom size 15 too small\n");
}

TEST(MovAtoms, ALongSizeNeedsItsBytes) {
  const Walk done = walk(be32({1}) + text_bytes("long") + Bytes(7, uint8_t{0}));
  EXPECT_EQ(done.result, -1);
  EXPECT_EQ(seen.size(), 0U);
  EXPECT_EQ(done.errors, "not enough room for 64 bit atom size\n");
}

TEST(MovAtoms, APayloadBeyondTheBufferEndsTheWalkAndIsNamed) {
  Walk done = walk(be32({8 + 5}) + text_bytes("aaaa") + text_bytes("four"));
  EXPECT_EQ(done.result, -1);
  EXPECT_EQ(seen.size(), 0U);
  EXPECT_EQ(done.errors, "atom size 5 too big\n");
  done = walk(be32({1}) + text_bytes("long") + be32({0xFFFFFFFF, 0xFFFFFFFF}) + text_bytes("data"));
  EXPECT_EQ(done.result, -1);
  EXPECT_EQ(done.errors, "atom size 18446744073709551599 too big\n");
}

TEST(MovAtoms, NothingToWalkIsRefused) {
  EXPECT_EQ(mov_walk_atoms(nullptr, 8, note, nullptr), -1);
  const Bytes bytes = box("aaaa");
  EXPECT_EQ(mov_walk_atoms(bytes.data(), bytes.size(), nullptr, nullptr), -1);
}

}  // namespace
}  // namespace media
