#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "config/ccl.h"
#include "config/conf_file.h"
#include "support/allocation_fault.h"

namespace {

using namespace config;
using namespace config_test;

// What the table holds when the n-th and all later calls fail: the lines up to there.
TEST(CclMemory, ExhaustionAtEveryPointKeepsTheLinesBefore) {
  const Pairs lines = {
      {"c", "3"}, {"a", std::string(70, 'x')}, {std::string(40, 'b'), ""}, {"d", "quoted value"}};
  const ConfFile file("c=3\na=" + lines[1].second + "\n" + lines[2].first +
                      "=\ndropped=d=\"quoted value\"\n");
  size_t kept_most = 0;
  bool complete = false;
  for (int calls = 0; !complete && calls < 100; calls++) {
    CclHandle handle = profile_handle();
    int result = 0;
    {
      const support::AllocationFault fault(support::Fault::kEvery, calls);
      result = ccl_parse(&handle, file.path());
      complete = !fault.struck();
    }
    if (complete) {
      EXPECT_EQ(result, 0);
    } else {
      EXPECT_EQ(result, 12);
      EXPECT_EQ(handle.table == nullptr, calls == 0);
    }
    const Pairs pairs = walk(&handle);
    ASSERT_LE(pairs.size(), lines.size());
    kept_most = std::max(kept_most, pairs.size());
    Pairs expected(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(pairs.size()));
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(pairs, expected) << calls;
    ccl_release(&handle);
  }
  EXPECT_TRUE(complete);
  EXPECT_EQ(kept_most, lines.size());
}

}  // namespace
