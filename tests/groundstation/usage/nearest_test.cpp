#include "groundstation/usage/nearest.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace groundstation_test {
namespace {

using groundstation::edit_distance;
using groundstation::nearest_word;

const std::vector<std::string> kWords{"status", "photo", "set", "get", "params", "Cloudy"};

TEST(Nearest, CountsLettersThatDiffer) {
  EXPECT_EQ(edit_distance("", ""), 0U);
  EXPECT_EQ(edit_distance("photo", "PHOTO"), 0U);
  EXPECT_EQ(edit_distance("photo", "poto"), 1U);
  EXPECT_EQ(edit_distance("poto", "photo"), 1U);
  EXPECT_EQ(edit_distance("photo", "phota"), 1U);
  EXPECT_EQ(edit_distance("photo", "pohto"), 1U);
  EXPECT_EQ(edit_distance("kitten", "sitting"), 3U);
  EXPECT_EQ(edit_distance("ab", ""), 2U);
}

TEST(Nearest, FindsTheWordThatWasMeant) {
  EXPECT_EQ(nearest_word("sttaus", kWords), "status");
  EXPECT_EQ(nearest_word("Photos", kWords), "photo");
  EXPECT_EQ(nearest_word("clody", kWords), "Cloudy");
  EXPECT_EQ(nearest_word("par", kWords), "params");
}

TEST(Nearest, AWordThatIsFarFromAllHasNone) {
  EXPECT_EQ(nearest_word("nonsense", kWords), "");
  EXPECT_EQ(nearest_word("x", kWords), "");
  EXPECT_EQ(nearest_word("", kWords), "");
  EXPECT_EQ(nearest_word("x", std::vector<std::string>{"y"}), "");
}

}  // namespace
}  // namespace groundstation_test
