// Bytes per second of mavlink_frame_parse_all, as the links feed datagrams, and of
// mavlink_frame_parse, a call per byte, against a plain loop that only computes the checksum of the
// same bytes. Also in a process that has a second thread, where a mutex costs what it costs in
// maintask.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <span>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "flightlink/frame/mavlink_frame.h"
#include "report.h"

namespace {

constexpr int kFrames = 40000;
constexpr uint8_t kPayload = 33;
constexpr size_t kDatagram = 1024;  // as the peer thread receives them at most

std::vector<uint8_t> make_stream() {
  std::vector<uint8_t> stream;
  for (int i = 0; i < kFrames; i++) {
    flightlink::MavlinkMessage message{};
    message.msgid = 76;
    for (int k = 0; k < kPayload; k++) message.payload[k] = static_cast<uint8_t>(i * 31 + k * 7);
    flightlink::mavlink_frame_finalize_app(&message, kPayload, 152);
    uint8_t wire[flightlink::kMavlinkMaxFrame];
    const uint16_t length = flightlink::mavlink_frame_to_buffer(wire, &message);
    stream.insert(stream.end(), wire, wire + length);
  }
  return stream;
}

// Processor time of the calling thread: what else the machine does counts less.
uint64_t thread_time_us() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

// The best of some runs, in MB/s.
template <typename Work>
double speed(size_t bytes, Work work) {
  uint64_t best = UINT64_MAX;
  for (int run = 0; run < 15; run++) {
    const uint64_t began = thread_time_us();
    work();
    const uint64_t took = thread_time_us() - began;
    if (took < best) best = took;
  }
  return static_cast<double>(bytes) / static_cast<double>(best);
}

volatile uint16_t sink;

double checksum_loop(const std::vector<uint8_t>& stream) {
  return speed(stream.size(), [&] {
    uint16_t crc = 0xFFFF;
    for (const uint8_t byte : stream) {
      auto t = static_cast<uint8_t>(byte ^ (crc & 0xFF));
      t = static_cast<uint8_t>(t ^ (t << 4));
      crc = static_cast<uint16_t>((crc >> 8) ^ (t << 8) ^ (t << 3) ^ (t >> 4));
    }
    sink = crc;
  });
}

double in_datagrams(const std::vector<uint8_t>& stream, int& frames) {
  return speed(stream.size(), [&] {
    frames = 0;
    const std::span<const uint8_t> all(stream);
    for (size_t at = 0; at < all.size(); at += kDatagram) {
      const auto datagram = all.subspan(at, std::min(kDatagram, all.size() - at));
      flightlink::mavlink_frame_parse_all(flightlink::MAVLINK_CHANNEL_APP, datagram,
                                          [&](flightlink::MavlinkMessage*) { frames++; });
    }
  });
}

double byte_by_byte(const std::vector<uint8_t>& stream, int& frames) {
  return speed(stream.size(), [&] {
    flightlink::MavlinkMessage message;
    flightlink::MavlinkParseStatus status;
    frames = 0;
    for (const uint8_t byte : stream) {
      frames += flightlink::mavlink_frame_parse(0, byte, &message, &status);
    }
  });
}

void measure(const char* process, const std::vector<uint8_t>& stream) {
  const double reference = checksum_loop(stream);
  int frames = 0;
  const auto show = [&](const char* what, double ours, bench::Goal goal) {
    bench::show({.name = std::string(what) + ", " + process,
                 .unit = "MB/s",
                 .ours = ours,
                 .reference_name = "checksum loop",
                 .reference = reference,
                 .goal = goal,
                 .note = std::to_string(frames) + " of " + std::to_string(kFrames) + " frames"});
  };
  show("mavlink_frame_parse_all", in_datagrams(stream, frames), bench::at_least(0.5));
  show("mavlink_frame_parse, a call per byte", byte_by_byte(stream, frames), bench::kNoGoal);
}

}  // namespace

int main() {
  const std::vector<uint8_t> stream = make_stream();
  measure("one thread", stream);
  std::atomic<bool> stop = false;
  std::thread other([&] {
    while (!stop.load(std::memory_order_relaxed)) base::sleep_ms(5);
  });
  measure("two threads", stream);
  stop.store(true, std::memory_order_relaxed);
  other.join();
}
