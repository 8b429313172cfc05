// The receive thread against a real service on the real port, but with a clock that moves when the
// test says so and with sleeps that are only noted.
#include <gmock/gmock.h>

#include <thread>

#include "camera/client.h"
#include "camera/commands.h"
#include "camera/connection.h"
#include "camera/loopback_service.h"
#include "camera/settings_table.h"
#include "fake_base/fake_base.h"
#include "supervisor/state/camera_flags.h"
#include "support/no_descriptors.h"

namespace camera_test {
namespace {

using namespace std::chrono_literals;  // NOLINT
using camera::cam_json_context;

constexpr const char* kSessionRequest = "{\"msg_id\":257,\"token\":0}";
constexpr milliseconds kSoon = 5000ms * kSlowdown;

class CamThread : public fake_base::FakeBaseTest {
 protected:
  CamThread() {
    EXPECT_EQ(camera::cam_json_init(), 0);
    service_.listen();
    thread_ = std::thread(camera::cam_json_thread, &cam_json_context);
  }
  // Without a descriptor the thread ends.
  ~CamThread() override {
    const support::NoDescriptors none;
    service_.drop();
    service_.stop_listening();
    thread_.join();
  }

  // The client has handled a message when it asks back.
  void expect_alive() {
    service_.say(R"({"rval":0,"msg_id":4097})");
    EXPECT_TRUE(service_.wait_for(R"("type":"total"})", kSoon));
  }
  static std::vector<uint64_t> sleeps_from(size_t first) {
    std::vector<uint64_t> sleeps = fake_base::sleeps();
    sleeps.erase(sleeps.begin(), sleeps.begin() + static_cast<std::ptrdiff_t>(first));
    return sleeps;
  }

  LoopbackService service_;
  std::thread thread_;
};

TEST_F(CamThread, AServiceThatClosesAtOnceIsAskedLessAndLessOften) {
  for (int i = 0; i < 12; i++) {
    ASSERT_TRUE(service_.accept_within(kSoon)) << i;
    service_.drop();
  }
  ASSERT_TRUE(service_.accept_within(kSoon));
  std::vector<uint64_t> pauses(9, 1000);
  pauses.insert(pauses.end(), 3, 2000000);
  EXPECT_EQ(fake_base::sleeps(), pauses);

  // A connection that brought something is replaced at once, and the count begins anew.
  expect_alive();
  const size_t before = fake_base::sleeps().size();
  service_.drop();
  ASSERT_TRUE(service_.accept_within(kSoon));
  EXPECT_EQ(sleeps_from(before), std::vector<uint64_t>{});
  service_.reset_connection();
  ASSERT_TRUE(service_.accept_within(kSoon));
  EXPECT_EQ(sleeps_from(before), std::vector<uint64_t>{1000});
}

class AnswerWatch : public CamThread {
 protected:
  AnswerWatch() {
    EXPECT_TRUE(service_.accept_within(kSoon));
    EXPECT_EQ(service_.read_within(kSoon), kSessionRequest);
  }
  void begin_session() {
    service_.say(R"({"rval":0,"msg_id":257,"param":7})");
    EXPECT_TRUE(service_.wait_for(R"({"msg_id":4097,"token":7})", kSoon));
    service_.say(R"({"rval":0,"msg_id":1,"type":"shutter_time","param":"1/30"})");
    service_.say(R"({"rval":0,"msg_id":4097})");
    EXPECT_TRUE(service_.wait_for(R"("type":"total"})", kSoon));
    service_.say(R"({"rval":0,"msg_id":5,"param":8388608})");
    EXPECT_TRUE(service_.wait_for(R"("type":"free"})", kSoon));
    service_.say(R"({"rval":0,"msg_id":5,"param":4194304})");
    EXPECT_TRUE(fake_base_idle());
  }
  static bool fake_base_idle() {
    const auto end = std::chrono::steady_clock::now() + kSoon;
    while (camera::cam_get_op_state() != 0) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(1ms);
    }
    return true;
  }
  void take_photo() {
    supervisor::set_photo_pending(1);
    EXPECT_EQ(camera::cam_take_photo(), 0);
    EXPECT_TRUE(service_.wait_for("\"msg_id\":769,", kSoon));
  }
  // The connection was ended, and a new one is there for the next photo.
  void expect_a_new_connection() {
    EXPECT_TRUE(service_.ends_within(kSoon));
    ASSERT_TRUE(service_.accept_within(kSoon));
    EXPECT_EQ(service_.read_within(kSoon), kSessionRequest);
    EXPECT_EQ(supervisor::get_photo_pending(), 0);
    EXPECT_EQ(camera::cam_get_op_state(), 0U);
    take_photo();
  }
};

// Nothing is heard from the service, so the thread looks every 2 s.
TEST_F(AnswerWatch, ASilentServiceIsLeftAfterAMinute) {
  begin_session();
  ::testing::internal::CaptureStdout();
  take_photo();
  fake_base::advance_us(59900000);
  EXPECT_FALSE(service_.ends_within(2500ms));
  fake_base::advance_us(100000);
  expect_a_new_connection();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "cam_json_thread(line=160):no answer for 60 s: photo!\n");
}

// The service never stops talking, so there is no time-out.
TEST_F(AnswerWatch, ATalkativeServiceIsLeftAfterAMinuteToo) {
  begin_session();
  take_photo();
  fake_base::advance_us(59900000);
  expect_alive();
  service_.say(R"({"rval":0,"msg_id":5,"param":1}{"rval":0,"msg_id":5,"param":1})");
  EXPECT_TRUE(fake_base_idle());
  EXPECT_EQ(supervisor::get_photo_pending(), 1);
  fake_base::advance_us(100000);
  const auto end = std::chrono::steady_clock::now() + kSoon;
  bool left = false;
  while (!left && std::chrono::steady_clock::now() < end) {
    service_.say(R"({"notify_id":3})");
    left = service_.ends_within(100ms);
  }
  EXPECT_TRUE(left);
  expect_a_new_connection();
}

TEST_F(AnswerWatch, ASessionThatIsNeverGrantedIsAskedForAgain) {
  service_.say(R"({"rval":0,"msg_id":25)");  // and the rest is lost
  fake_base::advance_us(60000000);
  expect_a_new_connection();
}

// The thread was busy for longer than a minute, with the answer already there.
TEST_F(AnswerWatch, AnAnswerThatHadToWaitForThisThreadIsNotLate) {
  begin_session();
  take_photo();
  fake_base::on_sleep([](uint64_t us) {
    if (us == 500000) fake_base::advance_us(100000000);
  });
  // The failure of the preview takes its time; that of the photo fills the next read.
  std::string answers = R"({"rval":-1,"msg_id":259})";
  answers.resize(4096, ' ');
  service_.say(answers + R"({"rval":-1,"msg_id":769})");
  const auto end = std::chrono::steady_clock::now() + kSoon;
  while (supervisor::get_photo_pending() != 0 && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(supervisor::get_photo_pending(), 0);
  EXPECT_FALSE(service_.ends_within(300ms));
  EXPECT_FALSE(service_.accept_within(0ms));
}

}  // namespace
}  // namespace camera_test
