// Trace lines on standard output and on the video board's log. The recording fake's clock stands at
// 1000 s after the epoch: 00:16:40 UTC.
#include "supervisor/state/trace_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <functional>

#include "supervisor/state/log_card.h"
#include "support/fresh_process.h"

namespace supervisor_test {
namespace {

using namespace supervisor;  // NOLINT
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string printed_by(const std::function<void()>& body) {
  ::testing::internal::CaptureStdout();
  body();
  return ::testing::internal::GetCapturedStdout();
}

// Each body runs where the logger is as at program start.
class TraceLog : public LogCard {
 protected:
  TraceLog() {
    setenv("TZ", "UTC", 1);
    tzset();
  }
  // Enabled, on the video board's log, every level; the files' number is 0.
  static void trace_to_file() {
    _krv_trace_log_enable();
    trace_log_set_level(9);
    trace_log_set_target(kTraceToVideoBoardLog);
  }
};

TEST_F(TraceLog, PrintsNothingUntilItIsEnabled) {
  link_test::in_fresh_process([] {
    trace_log_set_level(9);
    EXPECT_EQ(printed_by([] { trace_log(0, "text"); }), "");
    EXPECT_THAT(fake_base::events(), IsEmpty());
    _krv_trace_log_enable();
    EXPECT_EQ(printed_by([] { trace_log(0, "text"); }), "[00:16:40.000][C] text\n");
  });
}

TEST_F(TraceLog, EnablingOpensTheThreeLogs) {
  link_test::in_fresh_process([] {
    _krv_trace_log_enable();
    EXPECT_THAT(fake_base::commands(), ElementsAre(kReadVBoardId, "echo '0' > /tmp/SD0/VBoardID",
                                                   kReadFlyctlId, "echo '0' > /tmp/SD0/FlyctlID",
                                                   kReadGimbalId, "echo '0' > /tmp/SD0/GimbalID"));
    for (const int32_t kind : {0, 1, 2}) EXPECT_TRUE(data_log_is_open(kind)) << kind;
  });
}

TEST_F(TraceLog, EachLevelHasItsLetter) {
  link_test::in_fresh_process([] {
    _krv_trace_log_enable();
    trace_log_set_level(2147483647);
    std::string printed;
    for (uint32_t level = 0; level < 10; level++) {
      printed += printed_by([level] { trace_log(level, "t"); }).substr(15);
    }
    EXPECT_EQ(printed, "C] t\nE] t\nW] t\nN] t\nI] t\nD] t\nS] t\nF] t\nU] t\nU] t\n");
  });
}

TEST_F(TraceLog, LevelsAboveTheHighestAreSilent) {
  link_test::in_fresh_process([] {
    _krv_trace_log_enable();
    EXPECT_EQ(printed_by([] { trace_log(1, "t"); }), "");  // 0 at start
    EXPECT_NE(printed_by([] { trace_log(0, "t"); }), "");
    trace_log_set_level(3);
    EXPECT_NE(printed_by([] { trace_log(3, "t"); }), "");
    EXPECT_EQ(printed_by([] { trace_log(4, "t"); }), "");
    EXPECT_EQ(printed_by([] { trace_log(0xFFFFFFFF, "t"); }), "");
    EXPECT_EQ(printed_by([] { trace_log(0, nullptr); }), "");
    trace_log_set_level(-1);
    EXPECT_EQ(printed_by([] { trace_log(0, "t"); }), "");
  });
}

TEST_F(TraceLog, TheStampIsLocalTimeWithMilliseconds) {
  link_test::in_fresh_process([] {
    _krv_trace_log_enable();
    fake_base::advance_us(7999);  // 7 ms
    EXPECT_EQ(printed_by([] { trace_log(0, ""); }), "[00:16:40.007][C] \n");
    setenv("TZ", "UTC-8", 1);
    tzset();
    fake_base::advance_us(492001);  // 500 ms
    EXPECT_EQ(printed_by([] { trace_log(0, "%s %n"); }), "[08:16:40.500][C] %s %n\n");
  });
}

TEST_F(TraceLog, OtherTargetsPrintNothing) {
  link_test::in_fresh_process([] {
    _krv_trace_log_enable();
    EXPECT_EQ(trace_log_get_target(), 0);
    for (const int32_t target : {2, -1, 100}) {
      trace_log_set_target(target);
      EXPECT_EQ(trace_log_get_target(), target);
      EXPECT_EQ(printed_by([] { trace_log(0, "t"); }), "");
    }
    EXPECT_EQ(content(vboard_log(0)), "");
  });
}

TEST_F(TraceLog, Target1IsTheVideoBoardsLog) {
  link_test::in_fresh_process([] {
    trace_to_file();
    const std::string text(3000, 'x');
    EXPECT_EQ(printed_by([&] {
                trace_log(1, "one");
                trace_log(8, text.c_str());
              }),
              "");
    std::string expected = "[00:16:40.000][E] one\n[00:16:40.000][U] ";
    expected.append(text).append(1, '\n');
    EXPECT_EQ(content(vboard_log(0)), expected);
  });
}

TEST_F(TraceLog, AClosedVideoBoardsLogIsOpenedForALine) {
  link_test::in_fresh_process([] {
    trace_to_file();
    data_log_close(kLogVideoBoard);
    fake_base::push_shell_line("0\n");
    trace_log(0, "again");
    EXPECT_EQ(content(vboard_log(1)), "[00:16:40.000][C] again\n");
    // Without the flight controller's log the file is made, and the line is lost.
    data_log_close(kLogFlightController);
    fake_base::push_shell_line("1\n");
    trace_log(0, "lost");
    EXPECT_EQ(content(vboard_log(2)), "");
    EXPECT_TRUE(exists(vboard_log(2)));
  });
}

TEST_F(TraceLog, AfterItsCloseOneLineIsLostAndTheNextGoesToTheNextFile) {
  link_test::in_fresh_process([] {
    trace_log_close();  // not enabled: nothing to close
    trace_to_file();
    trace_log(0, "before");
    trace_log_close();
    trace_log_close();
    fake_base::reset();
    trace_log(0, "lost");
    EXPECT_THAT(fake_base::commands(), IsEmpty());
    fake_base::push_shell_line("0\n");
    trace_log(0, "after");
    EXPECT_EQ(content(vboard_log(0)), "[00:16:40.000][C] before\n");
    EXPECT_EQ(content(vboard_log(1)), "[00:16:40.000][C] after\n");
    EXPECT_TRUE(data_log_is_open(kLogFlightController));
  });
}

TEST_F(TraceLog, ClosingBeforeEnablingLeavesTheLogOpen) {
  link_test::in_fresh_process([] {
    data_log_open(kLogFlightController);
    data_log_open(kLogVideoBoard);
    trace_log_close();
    EXPECT_EQ(write(kLogVideoBoard, "kept"), 0);
    EXPECT_EQ(content(vboard_log(0)), "kept");
  });
}

TEST_F(TraceLog, SuspendingClosesAllAndForbidsOpening) {
  link_test::in_fresh_process([] {
    trace_to_file();
    trace_log_suspend(1);
    for (const int32_t kind : {0, 1, 2}) EXPECT_FALSE(data_log_is_open(kind)) << kind;
    fake_base::reset();
    trace_log(0, "lost");
    EXPECT_EQ(write(kLogGimbal, "lost"), -1);
    EXPECT_THAT(fake_base::commands(), IsEmpty());
    trace_log_suspend(0);
    fake_base::push_shell_line("0\n");
    EXPECT_EQ(write(kLogGimbal, "kept"), 0);
    EXPECT_EQ(content(gimbal_log(1)), "kept");
    // Only 1 closes.
    trace_log_suspend(2);
    EXPECT_TRUE(data_log_is_open(kLogGimbal));
  });
}

}  // namespace
}  // namespace supervisor_test
