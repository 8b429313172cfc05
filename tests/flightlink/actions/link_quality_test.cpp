// COMMAND_LONG 203 of component 14: the stream rate follows the quality of the link. Each test runs
// in a process of its own, since the two counters start at 0 once.
#include "flightlink/actions/link_quality.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include "flightlink/link_suite.h"
#include "support/camera_socket.h"

namespace flightlink {
namespace {

using camera::confirm;
using link_test::CameraSocket;

std::string rate_text(int rate) {
  return R"({"msg_id":16,"token":7,"param":")" + std::to_string(rate) + "\"}";
}

CommandLong report(std::initializer_list<float> params) {
  CommandLong command{};
  size_t i = 0;
  for (const float value : params) command.param[i++] = value;
  return command;
}

CommandLong good() { return report({200, 0, 0, 0, 0, 0, 200}); }
// No frame arrived; `score` lost by the first count, which weighs 0.8.
CommandLong poor(float count) { return report({200, count, 0, 0, 0, 0, 0}); }

class LinkQuality : public link_test::ReadyCamera {
 protected:
  LinkQuality() { confirm(camera::kStreamRate, 1000); }

  // The text that the report makes, with the rate set back to 1000 afterwards.
  std::string sent_for(const CommandLong& command) {
    EXPECT_EQ(link_quality_control(command), 0);
    confirm(camera::kStreamRate, 1000);
    return service_.sent();
  }
  // What the report makes when it is the first.
  void expect_first(const CommandLong& command, const std::string& text) {
    in_fresh_process([&] { EXPECT_EQ(sent_for(command), text); });
  }
  static void expect_count_of_good(const CommandLong& command, bool is_good) {
    in_fresh_process([&] {
      CameraSocket service;
      confirm(camera::kStreamRate, 1000);
      for (int i = 0; i < 11; i++) link_quality_control(command);
      // The eleventh good one asks for 1.5 times the rate; eleven poor ones for 0.8 once.
      EXPECT_EQ(service.sent(), is_good ? rate_text(1500) : rate_text(800));
    });
  }

  CameraSocket service_;
};

TEST_F(LinkQuality, GoodReportsRaiseTheRateInThreeSteps) {
  in_fresh_process([this] {
    // The factor 1 sends nothing: the rate is the confirmed one. So the first ten are silent.
    for (int i = 1; i <= 10; i++) EXPECT_EQ(sent_for(good()), "") << i;
    for (int i = 11; i <= 20; i++) EXPECT_EQ(sent_for(good()), rate_text(1500)) << i;
    for (int i = 21; i <= 40; i++) EXPECT_EQ(sent_for(good()), rate_text(1700)) << i;
  });
}

TEST_F(LinkQuality, TheSixthGoodReportSetsTheRateAsItIs) {
  in_fresh_process([this] {
    // With this peer nibble every setting becomes 1024, so that the factor 1 shows too.
    mavlink_context.peer_nibble.store(10);
    for (int i = 1; i <= 5; i++) EXPECT_EQ(sent_for(good()), "") << i;
    for (int i = 6; i <= 10; i++) EXPECT_EQ(sent_for(good()), rate_text(1024)) << i;
  });
}

TEST_F(LinkQuality, TheRateStaysInItsLimits) {
  in_fresh_process([this] {
    for (int i = 1; i <= 20; i++) link_quality_control(good());
    EXPECT_EQ(service_.sent().substr(0, 41), rate_text(1500) + rate_text(1500).substr(0, 3));
    confirm(camera::kStreamRate, 2000);
    EXPECT_EQ(link_quality_control(good()), 0);
    EXPECT_EQ(service_.sent(), rate_text(2048));
    confirm(camera::kStreamRate, 60);
    EXPECT_EQ(link_quality_control(poor(14)), 0);
    EXPECT_EQ(service_.sent(), rate_text(50));
  });
}

TEST_F(LinkQuality, ThePoorScoreChoosesTheFactor) {
  expect_first(poor(13), "");               // 10.4: 0.8, not yet
  expect_first(poor(14), rate_text(600));   // 11.2
  expect_first(poor(32), rate_text(600));   // 25.6 is 25
  expect_first(poor(33), rate_text(400));   // 26.4
  expect_first(poor(126), rate_text(400));  // 100.8 is 100
  expect_first(poor(127), rate_text(200));  // 101.6
  expect_first(poor(1e30F), rate_text(200));
  expect_first(poor(-1e30F), "");
  expect_first(poor(std::nanf("")), "");
}

// The table in docs/interfaces.md: each rate is confirmed before the next report comes.
TEST_F(LinkQuality, From512OnTheRatesAreTheseUntilALimitIsReached) {
  const std::pair<CommandLong, std::vector<int>> rows[] = {
      {good(), {768, 1152, 1728, 2048}},
      {poor(0), {409, 327, 261, 208, 166, 132, 105, 84, 67, 53, 50}},
      {poor(14), {307, 184, 110, 66, 50}},
      {poor(33), {204, 81, 50}},
      {poor(127), {102, 50}}};
  for (const auto& [command, wanted] : rows) {
    in_fresh_process([&, &command = command, &wanted = wanted] {
      confirm(camera::kStreamRate, 512);
      std::vector<int> sent;
      for (int i = 0; i < 100; i++) {
        link_quality_control(command);
        if (service_.sent().empty()) continue;
        sent.push_back(camera::requested(camera::kStreamRate));
        confirm(camera::kStreamRate, sent.back());
      }
      EXPECT_EQ(sent, wanted);
    });
  }
}

TEST_F(LinkQuality, EachCountHasItsWeight) {
  // 20 and 41 times 0.6 are 12 and 24.6; 86 times 0.3 is 25.8; 110 times 0.1 is 11.
  expect_first(report({200, 0, 18, 0, 0, 0, 0}), "");               // 10.8
  expect_first(report({200, 0, 20, 0, 0, 0, 0}), rate_text(600));   // 12
  expect_first(report({200, 0, 0, 36, 0, 0, 0}), "");               // 10.8
  expect_first(report({200, 0, 0, 40, 0, 0, 0}), rate_text(600));   // 12
  expect_first(report({200, 0, 0, 0, 109, 0, 0}), "");              // 10.9
  expect_first(report({200, 0, 0, 0, 115, 0, 0}), rate_text(600));  // 11.5
  expect_first(report({200, 0, 0, 0, 0, 109, 0}), "");
  expect_first(report({200, 0, 0, 0, 0, 115, 0}), rate_text(600));
  // 8.0 + 12.0 + 3.0 + 1.0 + 2.0 = 26; only the integer parts count.
  expect_first(report({200, 10, 20, 10, 15, 15, 0}), rate_text(400));
  expect_first(report({200, 9.9F, 20.9F, 10.9F, 15.9F, 15.9F, 0}), rate_text(600));  // 25.2
  // A negative count makes up for another.
  expect_first(report({200, 20, -10, 0, 0, 0, 0}), "");  // 10
}

TEST_F(LinkQuality, TheWeakestFactorNeedsSixReports) {
  in_fresh_process([this] {
    for (int round = 0; round < 3; round++) {
      for (int i = 1; i <= 5; i++) EXPECT_EQ(sent_for(poor(13)), "") << i;
      EXPECT_EQ(sent_for(poor(13)), rate_text(800));
    }
  });
}

TEST_F(LinkQuality, APoorReportStartsTheGoodCountAgain) {
  in_fresh_process([this] {
    for (int i = 1; i <= 10; i++) sent_for(good());
    EXPECT_EQ(sent_for(poor(13)), "");
    for (int i = 1; i <= 10; i++) EXPECT_EQ(sent_for(good()), "") << i;
    EXPECT_EQ(sent_for(good()), rate_text(1500));
  });
}

TEST_F(LinkQuality, NothingButTheSixthStartsThePoorCountAgain) {
  in_fresh_process([this] {
    for (int i = 1; i <= 3; i++) sent_for(poor(0));
    sent_for(good());
    EXPECT_EQ(sent_for(poor(14)), rate_text(600));
    EXPECT_EQ(sent_for(poor(0)), "");
    EXPECT_EQ(sent_for(poor(0)), "");
    EXPECT_EQ(sent_for(poor(0)), rate_text(800));
    for (int i = 1; i <= 5; i++) EXPECT_EQ(sent_for(poor(0)), "");
  });
}

TEST_F(LinkQuality, OnlyHundredPercentIsGood) {
  const float nan = std::nanf("");
  struct Row {
    float sent;
    float arrived;
    bool is_good;
  };
  const Row rows[] = {{100, 100, true},     {100.9F, 100.1F, true}, {200, 201, true},
                      {200, 199, false},    {99, 100, false},       {100, 101, false},
                      {0, 0, false},        {0, 100, false},        {0.9F, 100, false},
                      {-1, -1, true},       {-1, 1, false},         {-1.9F, -1.9F, true},
                      {-50, -50, true},     {nan, 100, false},      {100, nan, false},
                      {1e30F, 1e30F, true}, {-1, -1e30F, false},    {1, 1e30F, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.sent) + " sent, " + std::to_string(row.arrived) + " arrived");
    expect_count_of_good(report({row.sent, 0, 0, 0, 0, 0, row.arrived}), row.is_good);
  }
}

TEST_F(LinkQuality, TheThrottleFlagDisablesItAndStopsTheCounters) {
  in_fresh_process([this] {
    for (int i = 1; i <= 10; i++) sent_for(good());
    mavlink_context.throttle_flag.store(1);
    EXPECT_EQ(sent_for(good()), "");
    EXPECT_EQ(sent_for(poor(127)), "");
    EXPECT_EQ(sent_for(poor(0)), "");
    mavlink_context.throttle_flag.store(0);
    EXPECT_EQ(sent_for(good()), rate_text(1500));
    for (int i = 1; i <= 5; i++) EXPECT_EQ(sent_for(poor(0)), "");
    EXPECT_EQ(sent_for(poor(0)), rate_text(800));
  });
}

// The peer's thread and that of the TCP application. At the lowest rate nothing is sent.
TEST_F(LinkQuality, TwoThreadsCountEveryReport) {
  in_fresh_process([] {
    camera::cam_json_withdraw();
    for (int round = 0; round < 20; round++) {
      confirm(camera::kStreamRate, 50);
      const auto report_poor_frames = [] {
        for (int i = 0; i < 30000; i++) link_quality_control(poor(0));
      };
      std::thread other(report_poor_frames);
      report_poor_frames();
      other.join();
      confirm(camera::kStreamRate, 1000);
      for (int i = 1; i <= 5; i++) ASSERT_EQ(link_quality_control(poor(0)), 0) << round << ' ' << i;
      ASSERT_EQ(link_quality_control(poor(0)), -2) << round;
    }
  });
}

TEST_F(LinkQuality, WithoutAConnectionTheResultTells) {
  in_fresh_process([] {
    camera::cam_json_withdraw();
    EXPECT_EQ(link_quality_control(poor(14)), -2);
    EXPECT_EQ(link_quality_control(poor(0)), 0);
  });
}

}  // namespace
}  // namespace flightlink
