// How a session of the application ends, and what is started with the server.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "flightlink/link_suite.h"
#include "flightlink/links/app_link.h"
#include "flightlink/links/heartbeats.h"
#include "flightlink/wire/link_status.h"
#include "support/app_session.h"

namespace flightlink {
namespace {

using link_test::AppSession;
using link_test::heartbeat_from;

TEST(AppEnd, TheDisconnectTimerClosesBehindTheReader) {
  in_fresh_process([] {
    AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    std::thread ending([] {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      MavlinkTimeoutDisconn({});
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(app_session_serve(), -1);  // woken by the shutdown, not by its time-out
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1500));
    ending.join();
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
    EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
    EXPECT_EQ(mavlink_context.link_state.load(), 0U);
  });
}

TEST(AppEnd, TheDescriptorStaysOpenWhileTheReaderHoldsIt) {
  in_fresh_process([] {
    const AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    std::unique_lock reader(mavlink_context.reader_lock);
    std::thread ending([] { app_session_end(); });
    while (mavlink_context.KRConnFd.load() != 0) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_NE(fcntl(connection, F_GETFD), -1);
    reader.unlock();
    ending.join();
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
  });
}

TEST(AppEnd, TheDescriptorStaysOpenWhileASenderHoldsIt) {
  in_fresh_process([] {
    const AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    ASSERT_TRUE(mavlink_context.send_lock.wait());
    std::thread ending([] { app_session_end(); });
    while (mavlink_context.KRConnFd.load() != 0) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_NE(fcntl(connection, F_GETFD), -1);
    mavlink_context.send_lock.post();
    ending.join();
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
    EXPECT_EQ(mavlink_context.send_lock.count(), 1);
  });
}

TEST(AppEnd, SendersReaderAndTimersEndASessionTogetherOnce) {
  in_fresh_process([] {
    const MavlinkMessage message = heartbeat_from(36);
    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 100; i++) {
      AppSession application;
      const int connection = mavlink_context.KRConnFd.load();
      std::thread reader([] {
        while (mavlink_context.link_state.load() != 0 && app_session_serve() == 0) {
        }
        app_session_end();
      });
      std::thread sender([&] {
        for (int k = 0; k < 50; k++) mavlink_send(&message);
      });
      std::thread timer([] { MavlinkTimeoutDisconn({}); });
      application.hang_up();
      reader.join();
      sender.join();
      timer.join();
      EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
      EXPECT_EQ(fcntl(connection, F_GETFD), -1);
      EXPECT_EQ(mavlink_context.send_lock.count(), 1);
    }
    ::testing::internal::GetCapturedStderr();
  });
}

TEST(AppSend, ASlowReaderCostsItsSession) {
  in_fresh_process([] {
    const AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    ASSERT_EQ(fcntl(connection, F_SETFL, O_NONBLOCK), 0);
    const MavlinkMessage message = heartbeat_from(36);
    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 1000000 && mavlink_context.link_state.load() != 0; i++) {
      mavlink_send(&message);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "mavlink_send(line=859):send error,Resource temporarily unavailable!\n");
    EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
  });
}

TEST(AppReset, LiftsTheFilterBeforeItClosesTheConnection) {
  in_fresh_process([] {
    fake_base::reset();
    const AppSession application;
    const int connection = mavlink_context.KRConnFd.load();
    set_link_status(2);
    fake_base::on_command(
        [connection](const std::string&) { EXPECT_NE(fcntl(connection, F_GETFD), -1); });
    app_session_reset();
    EXPECT_THAT(fake_base::commands(), ElementsAre("iptables --flush", "iptables -P INPUT ACCEPT"));
    EXPECT_EQ(fcntl(connection, F_GETFD), -1);
    EXPECT_EQ(get_link_status(), 0);
  });
}

TEST(AppReset, LeavesTheFilterAloneWhileBindingIsDisabled) {
  in_fresh_process([] {
    fake_base::reset();
    const AppSession application;
    mavlink_context.binding_disabled.store(1);
    ::testing::internal::CaptureStdout();
    app_session_reset();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "stop heart beat timer ok!\n");
    EXPECT_THAT(fake_base::commands(), IsEmpty());
    EXPECT_EQ(mavlink_context.KRConnFd.load(), 0);
  });
}

TEST(AppTimers, AreCreatedTogetherDisarmed) {
  in_fresh_process([] {
    reset_link();
    ::testing::internal::CaptureStdout();
    app_timers_create();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "init heart beat timer ok!\n");
    EXPECT_THAT(fake_base::timers(),
                ::testing::UnorderedElementsAre(
                    AllOf(Field(&fake_base::Timer::callback, MavlinkTimeoutNormal),
                          Field(&fake_base::Timer::period_ms, 0U)),
                    AllOf(Field(&fake_base::Timer::callback, MavlinkTimeoutDisconn),
                          Field(&fake_base::Timer::period_ms, 0U)),
                    AllOf(Field(&fake_base::Timer::callback, app_heartbeat_tick),
                          Field(&fake_base::Timer::period_ms, 0U))));
  });
}

TEST(AppStart, StartsTheThreadWithDefaultScheduling) {
  fake_base::reset();
  EXPECT_EQ(app_link_start(), 0);
  expect_thread(MavlinkRecvThread, 0);
  fake_base::fail_next_thread();
  EXPECT_EQ(app_link_start(), EAGAIN);
}

}  // namespace
}  // namespace flightlink
