// The receive thread against a real service on the real port, but with a clock that moves when the
// test says so and with sleeps that are only noted.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <thread>

#include "camera/cam_client.h"
#include "camera/cam_json.h"
#include "camera/cam_settings.h"
#include "camera/loopback_service.h"
#include "fake_base/fake_base.h"

namespace camera_test {
namespace {

using namespace std::chrono_literals;  // NOLINT
using camera::cam_json_context;

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
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &none);
    service_.drop();
    service_.stop_listening();
    thread_.join();
    setrlimit(RLIMIT_NOFILE, &before);
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

}  // namespace
}  // namespace camera_test
