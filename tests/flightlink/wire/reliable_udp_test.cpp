// The acknowledged sender on a clock that moves by itself: frames, time-outs, estimator.
#include "flightlink/wire/reliable_udp.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <csignal>

#include "base/bytes.h"
#include "flightlink/link_suite.h"
#include "support/allocation_fault.h"
#include "support/loopback_receiver.h"

namespace flightlink {
namespace {

constexpr uint64_t kStart = 1000000000;  // of the fake clock, us; 0x3b9aca00

std::string events_of(const std::string& kind) {
  std::string found;
  for (const std::string& event : fake_base::events()) {
    if (event.starts_with(kind)) found += event + "; ";
  }
  return found;
}

void acknowledge(uint32_t stamp) {
  uint8_t bytes[8] = {'F', 'F'};
  base::store_u32le(bytes + 2, stamp);
  reliable_udp_scan(bytes, 6);
}

// A far side on loopback.
struct FarSide : support::LoopbackReceiver {
  FarSide() {
    fake_base::reset();
    reliable_udp_block_alarm();
    EXPECT_EQ(reliable_udp_init(), 0);
  }
  int send(const std::string& text) {
    return reliable_udp_send(text.data(), static_cast<int>(text.size()), fd(), &address());
  }
};

TEST(ReliableInit, StartsTheRecordTheTimerAndTheThread) {
  in_fresh_process([] {
    fake_base::reset();
    ReliableUdpContext& context = reliable_udp_context;
    context.last_rtt_us = context.srtt_us = context.rttvar_us = 9;
    context.retries = 9;
    context.timeout_us = context.ack_stamp = 9;
    context.send_time_us = context.ack_arrival_us = 9;
    reliable_udp_block_alarm();
    EXPECT_EQ(reliable_udp_init(), 0);
    EXPECT_EQ(context.last_rtt_us, 0.0F);
    EXPECT_EQ(context.srtt_us, 0.0F);
    EXPECT_EQ(context.rttvar_us, 0.75F);
    EXPECT_EQ(context.retries, 0);
    EXPECT_EQ(context.timeout_us, 2000000U);
    EXPECT_EQ(context.send_time_us, 0U);
    EXPECT_EQ(context.ack_stamp, 0U);
    EXPECT_EQ(context.ack_arrival_us, 0U);
    ASSERT_EQ(fake_base::threads().size(), 1U);
    EXPECT_EQ(fake_base::threads()[0].priority, 2);
  });
}

TEST(ReliableInit, AThreadThatCannotBeStartedGivesMinusOneAndDeinitStaysSafe) {
  in_fresh_process([] {
    fake_base::reset();
    fake_base::fail_next_thread();
    reliable_udp_block_alarm();
    EXPECT_EQ(reliable_udp_init(), -1);
    reliable_udp_deinit();
    EXPECT_EQ(fake_base::events().back(), "no alarm");  // its timer is deleted, once
    reliable_udp_deinit();
    EXPECT_EQ(fake_base::events().size(), 1U);
  });
}

#ifndef NDEBUG
TEST(ReliableInitDeath, WithoutTheAlarmBlockedItEndsTheProcess) {
  EXPECT_DEATH((void)reliable_udp_init(), "alarm_is_blocked");
}
#endif

TEST(ReliableSend, RefusesWhatItCannotSend) {
  in_fresh_process([] {
    FarSide far;
    const int fd = far.fd();
    EXPECT_EQ(reliable_udp_send(nullptr, 1, fd, &far.address()), -22);
    EXPECT_EQ(reliable_udp_send("x", 0, fd, &far.address()), -22);
    EXPECT_EQ(reliable_udp_send("x", -1, fd, &far.address()), -22);
    EXPECT_EQ(reliable_udp_send("x", INT_MIN, fd, &far.address()), -22);
    EXPECT_EQ(reliable_udp_send("x", 1, 0, &far.address()), -22);
    EXPECT_EQ(reliable_udp_send("x", 1, fd, nullptr), -22);
    const support::AllocationFault no_memory(support::Fault::kNewArray);
    EXPECT_EQ(reliable_udp_send("x", 1, fd, &far.address()), -12);
    EXPECT_THAT(far.all(), IsEmpty());
    EXPECT_THAT(fake_base::events(), IsEmpty());
  });
}

TEST(ReliableSend, FrameHoldsStampLengthChecksumAndPayload) {
  in_fresh_process([] {
    FarSide far;
    fake_base::on_sleep([](uint64_t) { acknowledge(kStart); });
    EXPECT_EQ(far.send("abc"), 3);
    EXPECT_THAT(far.all(), ElementsAre(hex("43 30 58 46 00 ca 9a 3b 03 00 3b 9d "
                                           "61 62 63 46 58 30 43")));
  });
}

TEST(ReliableSend, StampIsTheLowHalfOfTheTime) {
  in_fresh_process([] {
    FarSide far;
    fake_base::advance_us((1ULL << 32) + 5 - kStart);
    fake_base::on_sleep([](uint64_t) { acknowledge(5); });
    EXPECT_EQ(far.send("ab"), 2);
    EXPECT_THAT(far.all(),
                ElementsAre(hex("43 30 58 46 05 00 00 00 02 00 9e 9d 61 62 46 58 30 43")));
  });
}

TEST(ReliableSend, AStampOfZeroIsNoAcknowledgementByItself) {
  in_fresh_process([] {
    FarSide far;
    fake_base::advance_us((1ULL << 32) - kStart);
    EXPECT_EQ(far.send("ab"), -110);
    EXPECT_EQ(far.all().size(), 5U);
  });
}

TEST(ReliableSend, FiveUnansweredSendsGiveMinus110) {
  in_fresh_process([] {
    FarSide far;
    errno = 0;
    EXPECT_EQ(far.send("abc"), -110);
    EXPECT_EQ(errno, ETIMEDOUT);
    const std::vector<Bytes> frames = far.all();
    ASSERT_EQ(frames.size(), 5U);
    for (const Bytes& frame : frames) EXPECT_EQ(frame, frames[0]);
    // The time-out is at its upper end already; each wait is 500 steps.
    EXPECT_EQ(events_of("alarm"),
              "alarm 2000000; alarm 2000000; alarm 2000000; alarm 2000000; alarm 2000000; ");
    EXPECT_EQ(fake_base::sleeps(), std::vector<uint64_t>(2500, 4000));
    EXPECT_EQ(reliable_udp_context.retries, 5);
    EXPECT_EQ(reliable_udp_context.timeout_us, 2000000U);
  });
}

// Five sends that nobody answers, from that time-out on.
void send_in_vain(FarSide* far, uint32_t timeout_us, const char* alarms) {
  reliable_udp_context.timeout_us = timeout_us;
  EXPECT_EQ(far->send("abc"), -110);
  EXPECT_EQ(events_of("alarm"), alarms);
}

TEST(ReliableSend, TheTimeOutDoublesWithEveryRetry) {
  in_fresh_process([] {
    FarSide far;
    send_in_vain(&far, 50000,
                 "alarm 50000; alarm 100000; alarm 200000; alarm 400000; alarm 800000; ");
    EXPECT_EQ(reliable_udp_context.timeout_us, 1600000U);
    // The next send begins with what the last one ended with, and stays below the upper end.
    EXPECT_EQ(far.send("abc"), -110);
    EXPECT_EQ(reliable_udp_context.timeout_us, 2000000U);
  });
}

TEST(ReliableSend, ATimeOutOutsideTheLimitsIsPulledIn) {
  in_fresh_process([] {
    FarSide far;
    send_in_vain(&far, 10, "alarm 10; alarm 100000; alarm 200000; alarm 400000; alarm 800000; ");
    EXPECT_EQ(fake_base::sleeps()[0], 100U);  // 50000 / 500
    reliable_udp_context.timeout_us = 4000000000U;
    fake_base::on_sleep([](uint64_t us) {
      EXPECT_EQ(us, 4000U);  // 2000000 / 500
      acknowledge(static_cast<uint32_t>(reliable_udp_context.send_time_us));
    });
    EXPECT_EQ(far.send("abc"), 3);
  });
}

TEST(ReliableSend, AnAcknowledgementWithAnotherStampIsIgnored) {
  in_fresh_process([] {
    FarSide far;
    fake_base::on_sleep([](uint64_t) { acknowledge(kStart + 1); });
    EXPECT_EQ(far.send("abc"), -110);
    EXPECT_EQ(far.all().size(), 5U);
  });
}

TEST(ReliableSend, AnOldAcknowledgementIsForgottenBeforeASend) {
  in_fresh_process([] {
    FarSide far;
    acknowledge(kStart);
    EXPECT_EQ(far.send("abc"), -110);
  });
}

TEST(ReliableSend, ARetryThatIsAnsweredSucceeds) {
  in_fresh_process([] {
    FarSide far;
    fake_base::on_sleep([](uint64_t) {
      if (fake_base::sleeps().size() == 501) acknowledge(kStart);
    });
    EXPECT_EQ(far.send("abc"), 3);
    EXPECT_EQ(far.all().size(), 2U);
    EXPECT_EQ(reliable_udp_context.retries, 0);
    // Measured from the stamp: 2000000 + 4000.
    EXPECT_EQ(reliable_udp_context.last_rtt_us, 2004000.0F);
  });
}

TEST(ReliableSend, AFailedSendEndsAtOnce) {
  in_fresh_process([] {
    FarSide far;
    const std::string too_long(65500, 'x');  // with its frame over one datagram
    EXPECT_EQ(far.send(too_long), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_THAT(fake_base::events(), IsEmpty());
  });
}

TEST(ReliableSend, TheAlarmIsLetThroughOnlyWhileSending) {
  in_fresh_process([] {
    FarSide far;
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    fake_base::on_sleep([](uint64_t) {
      sigset_t now;
      pthread_sigmask(SIG_BLOCK, nullptr, &now);
      EXPECT_EQ(sigismember(&now, SIGALRM), 0);
      acknowledge(kStart);
    });
    EXPECT_EQ(far.send("abc"), 3);
    sigset_t after;
    pthread_sigmask(SIG_BLOCK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGALRM), 1);
  });
}

// Acknowledges the packet in flight so that it arrives `us` after it was sent.
void answer_after(FarSide& far, uint64_t us) {
  fake_base::on_sleep([us](uint64_t slept) {
    fake_base::advance_us(us - slept);
    acknowledge(static_cast<uint32_t>(reliable_udp_context.send_time_us));
  });
  EXPECT_EQ(far.send("abc"), 3);
  fake_base::on_sleep(nullptr);
}

TEST(ReliableEstimator, FollowsTheHandWorkedSequence) {
  in_fresh_process([] {
    FarSide far;
    const ReliableUdpContext& context = reliable_udp_context;
    answer_after(far, 400000);
    EXPECT_EQ(context.last_rtt_us, 400000.0F);
    EXPECT_EQ(context.srtt_us, 50000.0F);        // 0 + 400000 / 8
    EXPECT_EQ(context.rttvar_us, 100000.5625F);  // 0.75 + (400000 - 0.75) / 4
    EXPECT_EQ(context.timeout_us, 450002U);      // 50000 + 400002.25
    answer_after(far, 100000);
    EXPECT_EQ(context.srtt_us, 56250.0F);         // 50000 + 50000 / 8
    EXPECT_EQ(context.rttvar_us, 87500.421875F);  // 100000.5625 + (50000 - 100000.5625) / 4
    EXPECT_EQ(context.timeout_us, 406251U);       // 56250 + 350001.6875
    // Both sends disarm the timer at their end.
    EXPECT_EQ(events_of("alarm"), "alarm 2000000; alarm 0; alarm 450002; alarm 0; ");
  });
}

TEST(ReliableEstimator, AnEarlierArrivalCountsByItsSize) {
  in_fresh_process([] {
    FarSide far;
    reliable_udp_context.srtt_us = 800000;
    reliable_udp_context.rttvar_us = 1000;
    answer_after(far, 80000);
    EXPECT_EQ(reliable_udp_context.srtt_us, 710000.0F);    // 800000 - 720000 / 8
    EXPECT_EQ(reliable_udp_context.rttvar_us, 180750.0F);  // 1000 + 719000 / 4
    EXPECT_EQ(reliable_udp_context.timeout_us, 1433000U);
  });
}

TEST(ReliableEstimator, TheTimeOutStaysBetween50000And2000000) {
  in_fresh_process([] {
    FarSide far;
    answer_after(far, 8000);  // 1000 + 4 x 2000.5625
    EXPECT_EQ(reliable_udp_context.srtt_us, 1000.0F);
    EXPECT_EQ(reliable_udp_context.timeout_us, 50000U);
    EXPECT_EQ(reliable_udp_init(), 0);
    answer_after(far, 1999999);  // 249999.875 + 4 x 500000.3 is above
    EXPECT_EQ(reliable_udp_context.timeout_us, 2000000U);
  });
}

}  // namespace
}  // namespace flightlink
