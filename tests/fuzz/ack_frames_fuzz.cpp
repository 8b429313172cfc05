// Acknowledged frames, both ends: this board's sender against a road that loses, changes and invents
// datagrams, and the ground station's reader behind it.
//
// The first byte of the input says how many bytes the payload has; then one byte for each thing that
// happens on the road, with what it needs (kRoad). What the sender says about its success is true.
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "base/timer.h"
#include "fake_base/fake_base.h"
#include "flightlink/wire/reliable_udp.h"
#include "fuzz/support.h"
#include "groundstation/flightside/ack_frames.h"

namespace {

using namespace flightlink;  // NOLINT

constexpr uint64_t kTimeoutUs = 2100000;  // longer than the longest
constexpr int kSends = 5;

enum Happening : uint8_t {
  kLost,         // nothing comes back
  kAnswered,     // as it should be
  kOtherAnswer,  // an answer with another stamp
  kBytes,        // any bytes on the port of the acknowledgements: a length byte and the bytes
  kLate,         // the answer to the first frame, whatever was sent last
  kRefused,      // the send fails
  kHappenings,
};

// Two zero bytes behind, in a block of its own size.
void deliver(std::span<const uint8_t> bytes) {
  std::vector<uint8_t> datagram(bytes.begin(), bytes.end());
  datagram.insert(datagram.end(), 2, 0);
  reliable_udp_scan(datagram.data(), bytes.size());
}

bool holds_stamp(std::span<const uint8_t> bytes, uint32_t stamp) {
  const auto answer = groundstation::ack_answer(stamp);
  return std::search(bytes.begin(), bytes.end(), answer.begin(), answer.end()) != bytes.end();
}

struct Road {
  fuzz::Input* input = nullptr;
  std::span<const uint8_t> payload;
  int sends = 0;
  uint32_t stamp = 0;
  bool could_succeed = false;
  bool must_succeed = false;
  bool refused = false;
  std::vector<uint8_t> waiting;  // on the way back

  bool take(std::span<const uint8_t> frame) {
    std::string trouble;
    const auto parsed = groundstation::parse_ack_frame(frame, &trouble);
    fuzz::check(parsed.has_value(), "the reader refuses what the sender sends", trouble);
    fuzz::check(std::ranges::equal(parsed->payload, payload), "another payload");
    sends++;
    fuzz::check(sends == 1 || parsed->stamp == stamp, "another stamp in a repetition");
    stamp = parsed->stamp;
    waiting.clear();
    return happen(static_cast<Happening>(input->byte() % kHappenings));
  }

  bool happen(Happening happening) {
    const auto right = groundstation::ack_answer(stamp);
    const auto wrong = groundstation::ack_answer(stamp + input->byte() + 1);
    if (happening == kRefused) refused = true;
    if (happening == kAnswered || happening == kLate) waiting.assign(right.begin(), right.end());
    if (happening == kOtherAnswer) waiting.assign(wrong.begin(), wrong.end());
    if (happening == kBytes) {
      const auto bytes = input->piece(input->byte());
      waiting.assign(bytes.begin(), bytes.end());
    }
    must_succeed |= happening == kAnswered || happening == kLate;
    could_succeed |= must_succeed || holds_stamp(waiting, stamp);
    return happening != kRefused;
  }

  // The sender's own pause: the answer arrives, or so much time passes that none will.
  void pause() {
    if (waiting.empty()) {
      fake_base::advance_us(kTimeoutUs);
      return;
    }
    deliver(waiting);
    waiting.clear();
  }
};

void send(fuzz::Input& input) {
  const auto payload = input.piece(input.byte());
  Road road;
  road.input = &input;
  road.payload = payload;
  fuzz::on_send([&](int, std::span<const uint8_t> frame) { return road.take(frame); });
  fake_base::on_sleep([&](uint64_t) { road.pause(); });
  sockaddr_in to{};
  to.sin_family = AF_INET;
  const int result =
      reliable_udp_send(payload.data(), static_cast<int>(payload.size()), fuzz::kAckWire, &to);
  fuzz::on_send({});
  if (payload.empty()) {
    fuzz::check(result == -EINVAL && road.sends == 0, "nothing was sent with success");
  } else if (result > 0) {
    fuzz::check(static_cast<size_t>(result) == payload.size(), "a part was sent");
    fuzz::check(road.could_succeed && road.sends <= kSends, "success without an answer");
  } else {
    fuzz::check(!road.must_succeed, "an answer was not taken");
    fuzz::check(road.refused ? result == -1 : result == -ETIMEDOUT && road.sends == kSends,
                "the reason of a failure");
  }
  fuzz::check(reliable_udp_context.timeout_us >= kReliableTimeoutMinUs &&
                  reliable_udp_context.timeout_us <= kReliableTimeoutMaxUs,
              "the time-out");
}

// Whatever comes to the reader's port.
void read(std::span<const uint8_t> datagram) {
  std::string trouble;
  const auto frame = groundstation::parse_ack_frame(datagram, &trouble);
  fuzz::check(frame.has_value() == trouble.empty(), "trouble", trouble);
  if (!frame.has_value()) return;
  const std::string copy(fuzz::text_of(frame->payload));
  fuzz::check(groundstation::ack_payload_text(fuzz::bytes_of(copy)).size() < 4 * 64 + 16, "text");
  fuzz::check(frame->payload.size() + 16 == datagram.size(), "size");
}

// The alarm is the sender's here.
bool start() {
  const itimerval none{};
  setitimer(ITIMER_REAL, &none, nullptr);
  reliable_udp_block_alarm();
  return reliable_udp_init() == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  fake_base::reset();
  static const bool started = start();
  fuzz::check(started, "start");
  reliable_udp_context.reset();
  base::create_signal_timer(&reliable_udp_context.timer, SIGALRM);
  fuzz::Input input(bytes, size);
  for (int i = 0; i < 4 && !input.empty(); i++) send(input);
  read({bytes, size});
  return 0;
}
