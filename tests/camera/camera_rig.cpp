#include "camera/camera_rig.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <csignal>

#include "camera/connection.h"
#include "camera/cutting.h"
#include "camera/frame_decoder.h"
#include "camera/service_state.h"
#include "camera/status_record.h"
#include "flightlink/wire/link_context.h"
#include "supervisor/state/camera_flags.h"
#include "supervisor/state/switches.h"
#include "support/loopback.h"

// What is sent is seen at once, so that texts, messages and timers keep their order. The names are the
// linker's.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {
ssize_t __real_send(int fd, const void* bytes, size_t size, int flags);
ssize_t __wrap_send(int fd, const void* bytes, size_t size, int flags) {
  const ssize_t sent = __real_send(fd, bytes, size, flags);
  camera_test::note_send();
  return sent;
}
ssize_t __real_sendto(int fd, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t to_size);
ssize_t __wrap_sendto(int fd, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t to_size) {
  const ssize_t sent = __real_sendto(fd, bytes, size, flags, to, to_size);
  camera_test::note_send();
  return sent;
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

namespace camera_test {
namespace {

constexpr int32_t kToken = 77;
constexpr auto kRelaxed = std::memory_order_relaxed;

void reset_records() {
  supervisor::camera_flags_reset();
  supervisor::switches.reset();
  flightlink::link_context_init();
  camera::cam_settings_init();
  camera::camera_state.reset();
  camera::cam_json_reset();
  camera::CamJsonContext& context = camera::cam_json_context;
  context.Token.store(kToken, kRelaxed);
  for (auto* timer : {&context.RecordTickTimer, &context.StatusTimer, &context.TimelapseTimer}) {
    flightlink::mavlink_timer_create(timer, camera::cam_record_tick);
  }
}

std::string zeros(int count) {
  std::string text;
  for (int i = 0; i < count; i++) text += " 00";
  return text;
}

// "sleep 6000" in microseconds becomes milliseconds; "timer 0 1000" gets the timer's name.
std::string readable(const std::string& event) {
  constexpr std::array kTimers = {"record tick", "status", "time-lapse"};
  if (event.starts_with("sleep ")) {
    const std::string us = event.substr(6);
    if (us.size() < 4 || !us.ends_with("000")) return "sleep of " + us + " us";
    return "sleep " + us.substr(0, us.size() - 3);
  }
  if (event.starts_with("timer ")) {
    return kTimers.at(static_cast<size_t>(event.at(6) - '0')) + event.substr(7);
  }
  return event;
}

}  // namespace

std::string set_text(const std::string& param, const std::string& type) {
  return R"({"msg_id":2,"token":77,"param":")" + param + R"(","type":")" + type + "\"}";
}

std::vector<std::string> failed_replies(int msg_id) {
  const std::string id = R"("msg_id":)" + std::to_string(msg_id) + "}";
  return {R"({"rval":-1,)" + id, "{" + id, R"({"rval":"0",)" + id};
}

std::string camera_ack(const std::string& subject, const std::string& result,
                       const std::string& value) {
  return "app 52: 00 " + subject + " 4c b4 " + result + " " + value + " 00";
}

std::string sd_report(const std::string& code, const std::string& total_mb,
                      const std::string& free_mb) {
  return "app 57: " + total_mb + " " + free_mb + " 00 00 " + code;
}

std::string camera_report(const std::string& code_float) {
  return "flight 76: " + code_float + zeros(24) + " 02 00 64 00 00";
}

std::string timelapse_report(const std::string& state_float) {
  // 11.0, the state, 300.0, 1.0, -2.0, 0.5, 8.0
  return "flight 76: 00 00 30 41 " + state_float +
         " 00 00 96 43 00 00 80 3f 00 00 00 c0 00 00 00 3f 00 00 00 41 02 00 64 00 00";
}

CameraTest::CameraTest() {
  std::signal(SIGPIPE, SIG_IGN);
  reset_records();
  open_peer();
  // A message boundary for every send.
  std::array<int, 2> ends{};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
  connection_.reset(ends[0]);
  service_.reset(ends[1]);
  reconnect();
  seen_events_ = fake_base::events().size();
  take_traffic();
  timeline_.clear();
  fake_base::on_sleep([this](uint64_t) { on_base_event(); });
  fake_base::on_command([this](const std::string&) { on_base_event(); });
  current_ = this;
}

CameraTest::~CameraTest() {
  current_ = nullptr;
  camera::cam_json_withdraw();
  flightlink::link_context_init();
  fake_base::reset();
}

void note_send() {
  CameraTest* rig = CameraTest::current_;
  if (rig == nullptr) return;
  rig->take_base_events(false);
  rig->take_traffic();
}

void CameraTest::open_peer() {
  sender_ = support::open_socket(SOCK_DGRAM);
  peer_ = support::open_loopback(&flightlink::mavlink_context.peer_address);
  flightlink::mavlink_context.peer_socket.store(sender_.get(), kRelaxed);
}

void CameraTest::say(std::string_view text) {
  const std::string terminated(text);
  camera::cam_handle_message(&camera::cam_json_context, terminated.c_str(), terminated.size());
}

void CameraTest::disconnect() { camera::cam_json_withdraw(); }

void CameraTest::reconnect() {
  CameraTest* rig = std::exchange(current_, nullptr);  // the first text is read here
  camera::cam_json_publish(connection_.get(), "first", 5);
  std::array<char, 8> first{};
  EXPECT_EQ(recv(service_.get(), first.data(), first.size(), MSG_DONTWAIT), 5);
  current_ = rig;
}

void CameraTest::settle(camera::Setting setting, int32_t value) {
  camera::request(setting, value);
  camera::confirm(setting, value);
}

void CameraTest::save_timelapse_parameters() {
  camera::camera_state.timelapse_count_parameter.store(300, kRelaxed);
  constexpr std::array values = {1.0F, -2.0F, 0.5F, 8.0F};
  for (size_t i = 0; i < 4; i++) {
    camera::camera_state.timelapse_parameters[i].store(values[i], kRelaxed);
  }
}

std::string CameraTest::printed_by(const std::function<void()>& call) {
  ::testing::internal::CaptureStdout();
  call();
  return ::testing::internal::GetCapturedStdout();
}

std::vector<std::vector<uint8_t>> CameraTest::receive_datagrams() {
  // A datagram of one byte closes the series: all that was sent before has arrived with it.
  const sockaddr_in& address = flightlink::mavlink_context.peer_address;
  const uint8_t mark = 0;
  EXPECT_EQ(__real_sendto(sender_.get(), &mark, 1, 0, reinterpret_cast<const sockaddr*>(&address),
                          sizeof(address)),
            1);
  std::vector<std::vector<uint8_t>> all;
  for (;;) {
    pollfd readable{peer_.get(), POLLIN, 0};
    if (poll(&readable, 1, 10000) != 1) {
      ADD_FAILURE() << "the closing datagram is missing";
      return all;
    }
    std::vector<uint8_t> datagram(512);
    const ssize_t size = recv(peer_.get(), datagram.data(), datagram.size(), 0);
    if (size <= 1) return all;
    datagram.resize(static_cast<size_t>(size));
    all.push_back(datagram);
  }
}

void CameraTest::take_base_events(bool but_the_last) {
  const std::vector<std::string> events = fake_base::events();
  const size_t end = but_the_last ? events.size() - 1 : events.size();
  for (; seen_events_ < end; seen_events_++) timeline_.push_back(readable(events[seen_events_]));
}

void CameraTest::take_traffic() {
  std::array<char, 4096> text{};
  while (service_.open()) {
    const ssize_t size = recv(service_.get(), text.data(), text.size(), MSG_DONTWAIT);
    if (size < 1) break;
    timeline_.emplace_back(text.data(), static_cast<size_t>(size));
  }
  for (const auto& datagram : receive_datagrams()) {
    timeline_.push_back(decode_frame(datagram));
    raw_.push_back(datagram);
  }
}

void CameraTest::on_base_event() {
  take_base_events(true);
  take_traffic();
  take_base_events(false);
  if (const auto look = look_) look();  // a copy: it may put another in its place
}

Timeline CameraTest::timeline() {
  take_base_events(false);
  take_traffic();
  return std::exchange(timeline_, {});
}

}  // namespace camera_test
