#include "flightlink/wire/reliable_udp.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <memory>
#include <new>

#include "base/bytes.h"
#include "base/clock.h"
#include "base/descriptor.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "base/socket.h"
#include "base/thread.h"
#include "base/timer.h"

namespace flightlink {

ReliableUdpContext reliable_udp_context{};

namespace {

using base::kRelaxed;
constexpr uint16_t kAckPort = 8866;
constexpr size_t kAckBufferSize = 4096;
constexpr int kPollMs = 2000;
constexpr int kSends = 5;
constexpr size_t kHeaderSize = 12;
constexpr size_t kTrailerSize = 4;
constexpr float kFirstVariation = 0.75F;

std::atomic<bool> timed_out;  // set by the SIGALRM handler

sigset_t alarm_alone() {
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  return alarm;
}

[[maybe_unused]] bool alarm_is_blocked() {
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  return sigismember(&blocked, SIGALRM) == 1;
}

void alarm_handler(int) { timed_out.store(true, kRelaxed); }

// SIGALRM reaches the sending thread for as long as it sends, and nobody at any other time.
class AlarmUnblocked {
 public:
  AlarmUnblocked() {
    const sigset_t alarm = alarm_alone();
    pthread_sigmask(SIG_UNBLOCK, &alarm, &before_);
  }
  AlarmUnblocked(const AlarmUnblocked&) = delete;
  AlarmUnblocked& operator=(const AlarmUnblocked&) = delete;
  ~AlarmUnblocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

uint32_t clamp_timeout(double us) {
  return base::saturate<uint32_t>(
      std::clamp(us, double{kReliableTimeoutMinUs}, double{kReliableTimeoutMaxUs}));
}

void fill_frame(uint8_t* frame, const void* data, size_t length, uint32_t stamp) {
  std::memcpy(frame, "C0XF", 4);
  base::store_u32le(frame + 4, stamp);
  base::store_u16le(frame + 8, static_cast<uint16_t>(length));
  std::memcpy(frame + kHeaderSize, data, length);
  base::store_u16le(frame + 10, reliable_udp_checksum(frame + kHeaderSize, length));
  std::memcpy(frame + kHeaderSize + length, "FX0C", kTrailerSize);
}

bool acknowledged(uint32_t stamp) {
  const base::Lock lock(reliable_udp_context.ack_mutex);
  return reliable_udp_context.ack_arrival_us != 0 && reliable_udp_context.ack_stamp == stamp;
}

void wait_for_ack(uint32_t stamp) {
  ReliableUdpContext& context = reliable_udp_context;
  context.timeout_us = clamp_timeout(context.timeout_us);
  while (!timed_out.load(kRelaxed) && !acknowledged(stamp)) {
    base::sleep_us(context.timeout_us / 500);
  }
}

void update_estimator() {
  ReliableUdpContext& context = reliable_udp_context;
  base::arm_timer_once_us(context.timer, 0);
  uint64_t arrival = 0;
  {
    const base::Lock lock(context.ack_mutex);
    arrival = context.ack_arrival_us;
  }
  if (arrival == 0) arrival = base::wall_clock_us();
  const auto measured = static_cast<float>(static_cast<int64_t>(arrival - context.send_time_us));
  context.last_rtt_us = measured;
  const float error = measured - context.srtt_us;
  context.srtt_us += error / 8;
  context.rttvar_us += (std::fabs(error) - context.rttvar_us) / 4;
  context.timeout_us = clamp_timeout(context.srtt_us + 4 * context.rttvar_us);
  context.retries = 0;
}

int send_until_acknowledged(const uint8_t* frame, size_t size, uint64_t now, int socket,
                            const sockaddr_in* to) {
  ReliableUdpContext& context = reliable_udp_context;
  const AlarmUnblocked alarm_unblocked;
  const auto stamp = static_cast<uint32_t>(now);
  context.retries = 0;
  for (;;) {
    const ssize_t sent =
        sendto(socket, frame, size, 0, reinterpret_cast<const sockaddr*>(to), sizeof(*to));
    if (sent < 1) return static_cast<int>(sent);
    timed_out.store(false, kRelaxed);
    context.send_time_us = now;
    base::arm_timer_once_us(context.timer, context.timeout_us);
    wait_for_ack(stamp);
    if (acknowledged(stamp)) {
      update_estimator();
      return static_cast<int>(sent);
    }
    context.timeout_us = clamp_timeout(2.0 * context.timeout_us);
    context.retries++;
    if (context.retries == kSends) {
      errno = ETIMEDOUT;
      return -ETIMEDOUT;
    }
  }
}

// SCHED_RR 2. Owns the acknowledgement socket; writes the acknowledgement record under its mutex.
// Ends only when the port cannot be bound.
void* acknowledgement_thread(void*) {
  base::Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd.open() || !base::bind_any(fd.get(), kAckPort)) {
    return nullptr;
  }
  const int ack_socket = fd.release();
  reliable_udp_context.ack_socket.store(ack_socket, std::memory_order_release);
  static uint8_t datagram[kAckBufferSize + 2];
  for (;;) {
    pollfd readable{ack_socket, POLLIN, 0};
    if (poll(&readable, 1, kPollMs) < 1) continue;
    const ssize_t received = recvfrom(ack_socket, datagram, kAckBufferSize, 0, nullptr, nullptr);
    if (received < 1) continue;
    datagram[received] = 0;
    datagram[received + 1] = 0;
    reliable_udp_scan(datagram, static_cast<size_t>(received));
  }
}

}  // namespace

uint16_t reliable_udp_checksum(const uint8_t* payload, size_t length) {
  uint64_t sum = 0;
  size_t i = 0;
  for (; i + 1 < length; i += 2) sum += base::load_u16le(payload + i);
  if (i < length) sum += payload[i];
  while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

void reliable_udp_scan(const uint8_t* bytes, size_t length) {
  ReliableUdpContext& context = reliable_udp_context;
  for (size_t i = 0; length - i > 4 && i < length; i++) {
    if (bytes[i] != 'F' || bytes[i + 1] != 'F') continue;
    const base::Lock lock(context.ack_mutex);
    context.ack_stamp = base::load_u32le(bytes + i + 2);
    context.ack_arrival_us = base::wall_clock_us();
    i += 5;
    if (i >= length) return;
  }
}

void ReliableUdpContext::forget_acknowledgement() {
  const base::Lock lock(ack_mutex);
  ack_stamp = 0;
  ack_arrival_us = 0;
}

void ReliableUdpContext::reset() {
  last_rtt_us = 0;
  srtt_us = 0;
  rttvar_us = kFirstVariation;
  retries = 0;
  timeout_us = kReliableTimeoutMaxUs;
  send_time_us = 0;
  forget_acknowledgement();
  ack_socket.store(0, kRelaxed);
}

void reliable_udp_block_alarm() {
  const sigset_t alarm = alarm_alone();
  pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
}

int reliable_udp_init() {
  // Else the alarm interrupts whatever thread the kernel picks. What the other threads have cannot
  // be seen from here: they are started from this one, after the same call. A release build does
  // not look.
  assert(alarm_is_blocked());
  ReliableUdpContext& context = reliable_udp_context;
  context.reset();
  struct sigaction action {};
  action.sa_handler = alarm_handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGALRM, &action, nullptr);
  if (base::create_signal_timer(&context.timer, SIGALRM) != 0) return -1;
  context.timer_created.store(true, std::memory_order_release);
  if (base::start_worker(acknowledgement_thread, nullptr, 2, &context.receiver) != 0) return -1;
  context.receiver_started.store(true, std::memory_order_release);
  return 0;
}

void reliable_udp_deinit() {
  ReliableUdpContext& context = reliable_udp_context;
  if (context.timer_created.exchange(false, std::memory_order_acquire))
    base::delete_signal_timer(context.timer);
  // The mutex is not destroyed: the acknowledgement thread may hold it.
  const int ack_socket = context.ack_socket.exchange(0, std::memory_order_acquire);
  // The plain call: the thread may be waiting on the socket, and it ends the next moment.
  if (ack_socket != 0) syscall(SYS_close, ack_socket);
  if (!context.receiver_started.exchange(false, std::memory_order_acquire)) return;
  pthread_kill(context.receiver, SIGKILL);
  pthread_join(context.receiver, nullptr);
}

int reliable_udp_send(const void* data, int length, int socket, const sockaddr_in* to) {
  if (data == nullptr || length <= 0 || socket == 0 || to == nullptr) return -EINVAL;
  const uint64_t now = base::wall_clock_us();
  const auto size = static_cast<size_t>(length);
  const size_t frame_size = kHeaderSize + size + kTrailerSize;
  const std::unique_ptr<uint8_t[]> frame(new (std::nothrow) uint8_t[frame_size]);
  if (frame == nullptr) return -ENOMEM;
  fill_frame(frame.get(), data, size, static_cast<uint32_t>(now));
  reliable_udp_context.forget_acknowledgement();
  return std::min(length, send_until_acknowledged(frame.get(), frame_size, now, socket, to));
}

}  // namespace flightlink
