// A maintask whose live video reaches the peer's UDP port 8856.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/fixtures.h"

namespace support {

class LiveVideo : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    peer = std::make_unique<PeerLink>();
    video = std::make_unique<PeerSocket>(8856);
    maintask = std::make_unique<RunningMaintask>();
  }
  static void TearDownTestSuite() {
    maintask.reset();
    video.reset();
    peer.reset();
  }
  void SetUp() override {
    ASSERT_TRUE(wait_for_live_video(*peer, *video)) << maintask->process().output();
  }
  void TearDown() override { EXPECT_TRUE(maintask->runs()); }

  inline static std::unique_ptr<PeerLink> peer;
  inline static std::unique_ptr<PeerSocket> video;
  inline static std::unique_ptr<RunningMaintask> maintask;

  // What arrives within that time.
  static std::vector<Datagram> receive(milliseconds time) {
    const size_t from = video->count();
    let_pass(time);
    auto all = video->received();
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(from));
    return all;
  }
  static bool flows() {
    return video->wait_for([](const Datagram&) { return true; }, seconds(5), video->count())
        .has_value();
  }
  static void expect_silence() {
    let_pass(milliseconds(200));  // what was under way
    EXPECT_TRUE(receive(milliseconds(500)).empty());
  }
};

}  // namespace support
