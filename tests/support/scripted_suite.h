// What the suites on a scripted board have in common: one board for all tests of the suite.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "support/fixtures.h"

namespace support {

class ScriptedSuite : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { board = std::make_unique<ScriptedBoard>(); }
  static void TearDownTestSuite() { board.reset(); }

  // Every test begins with the board as a session leaves it, and must leave maintask running.
  void SetUp() override {
    board->reset();
    mark = board->peer.mark();
    texts = board->camera.mark();
  }
  void TearDown() override { EXPECT_TRUE(board->maintask.runs()); }

  static inline std::unique_ptr<ScriptedBoard> board;
  size_t mark = 0;   // of the peer's datagrams, when the test began
  size_t texts = 0;  // of the texts to the camera service
};

}  // namespace support
