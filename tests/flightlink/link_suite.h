// What nearly every suite of the link opens with: a process of its own for each body, the recording
// base, the peer's end of the road, and bytes as they are read off a wire.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_base/fake_base.h"
#include "flightlink/wire/link_context.h"
#include "support/fresh_process.h"
#include "support/hex.h"
#include "support/loopback.h"
#include "support/peer_capture.h"

namespace flightlink {

using link_test::Bytes;
using link_test::hex;
using link_test::in_fresh_process;
using link_test::PeerCapture;
using link_test::zeros;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// A link that nobody uses yet, and nothing recorded.
inline void reset_link() {
  fake_base::reset();
  link_context_init();
}

// Runs the body in a process of its own, with nothing recorded and the peer's end of the road open.
inline void with_peer(const std::function<void(PeerCapture& peer)>& body) {
  in_fresh_process([&] {
    fake_base::reset();
    PeerCapture peer;
    body(peer);
  });
}

// One thread has been started, of that body and priority.
inline void expect_thread(void* (*body)(void*), int priority) {
  ASSERT_EQ(fake_base::threads().size(), 1U);
  EXPECT_EQ(fake_base::threads()[0].body, body);
  EXPECT_EQ(fake_base::threads()[0].priority, priority);
}

// What a timer of the link was last set to; 0: it is disarmed.
inline uint32_t period(const LinkTimer& timer) {
  return fake_base::timers()[reinterpret_cast<size_t>(timer.handle)].period_ms;
}

}  // namespace flightlink
