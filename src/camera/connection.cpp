#include "camera/connection.h"

#include <sys/socket.h>

#include <cstdio>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/relaxed.h"

namespace camera {

CamJsonContext cam_json_context{};

namespace {

using base::kRelaxed;

uint32_t cam_op_state GUARDED_BY(cam_json_context.SendLock) = kCamOpIdle;
// Written under SendLock; 0: no answer is awaited. Read without it: the receive thread must not
// wait behind a sender that waits for the service, which may wait for it.
std::atomic<uint64_t> cam_op_since{0};

// SendLock is held.
void store_op_state(uint32_t code) REQUIRES(cam_json_context.SendLock) {
  cam_op_state = code;
  const bool awaited = code != kCamOpIdle && code != kCamOpTimelapse;
  if (!awaited) {
    cam_op_since.store(0, kRelaxed);
  } else if (cam_op_since.load(kRelaxed) == 0) {
    cam_op_since.store(base::monotonic_us(), kRelaxed);
  }
}

int32_t disconnected() {
  std::printf("%s(line=%d):json is disconnected!\n", "a12_json_send", 130);
  return -2;
}

void send_text(CamJsonContext& context, const char* text, size_t length)
    REQUIRES(context.SendLock) {
  const int connection = context.JsonConnFd.load(kRelaxed);
  const ssize_t sent = connection != 0 ? send(connection, text, length, 0) : -1;
  // A part of a text means that the service has not read for 2 s: its rest would be nonsense to it.
  if (sent >= 1 && sent == static_cast<ssize_t>(length)) return;
  context.ConnState.store(kCamDisconnected, kRelaxed);
  std::printf("%s(line=%d):send error!\n", "a12_json_send", 140);
}

// `mark` runs under SendLock, so that what it notes belongs to the connection of the text.
template <typename Mark>
int32_t send_if_connected(CamJsonContext& context, const char* text, size_t length, Mark mark) {
  if (context.ConnState.load(kRelaxed) == kCamDisconnected) return disconnected();
  const base::Lock lock(context.SendLock);
  // Another sender may have found out meanwhile, after 2 s; nobody waits for that a second time.
  if (context.ConnState.load(kRelaxed) == kCamDisconnected) return disconnected();
  mark();
  send_text(context, text, length);
  return 0;
}

}  // namespace

void cam_json_reset() {
  CamJsonContext& context = cam_json_context;
  cam_json_withdraw();
  cam_clear_op_state();
  context.RecvThread = {};
  for (auto* word : {&context.Token, &context.SessionStarted, &context.SpaceQueryTotal}) {
    word->store(0, kRelaxed);
  }
  for (auto* timer : {&context.RecordTickTimer, &context.StatusTimer, &context.TimelapseTimer}) {
    timer->created.store(false, kRelaxed);
  }
  base::set_waiting(context.SessionRequest, 0);
}

void cam_json_publish(int connection, const char* first_text, size_t length) {
  CamJsonContext& context = cam_json_context;
  const base::Lock lock(context.SendLock);
  context.JsonConnFd.store(connection, kRelaxed);
  context.ConnState.store(kCamConnected, kRelaxed);
  send_text(context, first_text, length);
}

void cam_json_withdraw() {
  CamJsonContext& context = cam_json_context;
  const base::Lock lock(context.SendLock);
  context.JsonConnFd.store(0, kRelaxed);
  context.ConnState.store(kCamDisconnected, kRelaxed);
}

int32_t a12_json_send(CamJsonContext* context, const char* text, size_t length) {
  return send_if_connected(*context, text, length, [] {});
}

int32_t cam_json_send_marked(const char* text, size_t length, base::Waiting& mark, int32_t msg_id) {
  const int32_t result =
      send_if_connected(cam_json_context, text, length, [&] { base::set_waiting(mark, msg_id); });
  if (result != 0) base::set_waiting(mark, 0);
  return result;
}

void cam_json_disconnect() {
  CamJsonContext& context = cam_json_context;
  if (context.SessionStarted.load(kRelaxed) == 0) return;
  const base::Lock lock(context.SendLock);
  context.ConnState.store(kCamDisconnected, kRelaxed);
  // The receive thread may be waiting on this descriptor: it is woken here and closes what it owns,
  // so that the number is not given to somebody else under its eyes.
  const int connection = context.JsonConnFd.exchange(0, kRelaxed);
  if (connection != 0) shutdown(connection, SHUT_RDWR);
}

int32_t cam_set_op_state(uint32_t code) {
  if (code > kCamOpHighest) return -1;
  {
    const base::Lock lock(cam_json_context.SendLock);
    store_op_state(code);
  }
  base::sleep_ms(10);
  return 0;
}

void cam_clear_op_state() {
  const base::Lock lock(cam_json_context.SendLock);
  store_op_state(kCamOpIdle);
}

uint32_t cam_get_op_state() {
  const base::Lock lock(cam_json_context.SendLock);
  return cam_op_state;
}

uint64_t cam_op_since_us() { return cam_op_since.load(kRelaxed); }

}  // namespace camera
