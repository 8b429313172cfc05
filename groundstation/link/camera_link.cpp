#include "groundstation/link/camera_link.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/clock.h"
#include "groundstation/link/endpoint.h"
#include "groundstation/terminal/interrupts.h"

namespace groundstation {
namespace {

constexpr uint64_t kHeartbeatPeriodUs = 1'000'000;

int poll_ms(uint64_t now_us, uint64_t until_us) {
  if (until_us <= now_us) return 0;
  return static_cast<int>(std::min<uint64_t>((until_us - now_us + 999) / 1000, 1000));
}

}  // namespace

std::string CameraLink::open() {
  socket_.reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket_.open()) return fmt::format("no UDP socket: {}", std::strerror(errno));
  const auto* local = reinterpret_cast<const sockaddr*>(&options_.local);
  if (::bind(socket_.get(), local, sizeof options_.local) != 0) {
    const int error = errno;
    socket_.reset();
    return fmt::format("cannot bind {}: {}{}", endpoint_text(options_.local), std::strerror(error),
                       error == EADDRINUSE ? " (another ground station runs; use its shell for "
                                             "several commands on one link)"
                                           : "");
  }
  // Port 0 stands for any port; from here on it is the real one.
  socklen_t length = sizeof options_.local;
  ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&options_.local), &length);
  send_heartbeat_if_due(base::monotonic_us());
  return "";
}

void CameraLink::send(const PeerMessage& message, uint8_t sysid) {
  if (!socket_.open()) return;
  flightlink::MavlinkMessage frame{};
  frame.msgid = message.msgid;
  std::copy(message.payload.begin(), message.payload.end(), frame.payload);
  flightlink::mavlink_frame_seal(&frame, sysid, sequence_++,
                                 static_cast<uint8_t>(message.payload.size()),
                                 flightlink::mavlink_crc_extra(message.msgid));
  uint8_t wire[flightlink::kMavlinkMaxFrame];
  const uint16_t length = flightlink::mavlink_frame_to_buffer(wire, &frame);
  if (options_.trace != nullptr) {
    options_.trace->add(base::monotonic_us(), own_address(ntohs(options_.local.sin_port)),
                        options_.camera, {wire, length});
  }
  // While the camera opens its socket anew an earlier refusal may be reported here, once; the
  // second attempt then sends.
  for (int attempt = 0; attempt < 2; attempt++) {
    if (::sendto(socket_.get(), wire, length, 0,
                 reinterpret_cast<const sockaddr*>(&options_.camera),
                 sizeof options_.camera) == length) {
      return;
    }
  }
}

sockaddr_in CameraLink::own_address(uint16_t port) const {
  sockaddr_in own = own_;
  own.sin_port = htons(port);
  return own;
}

void CameraLink::want_live_video(bool on) {
  wants_live_video_ = on;
  next_heartbeat_us_ = 0;
  send_heartbeat_if_due(base::monotonic_us());
}

void CameraLink::send_heartbeat_if_due(uint64_t now_us) {
  if (now_us < next_heartbeat_us_) return;
  send(heartbeat_message(wants_live_video_, options_.link_level));
  next_heartbeat_us_ = now_us + kHeartbeatPeriodUs;
}

Wait CameraLink::wait(uint64_t deadline_us, const Match& match, int extra_fd) {
  while (true) {
    if (deliver(match) || std::exchange(frame_matched_, false)) return Wait::kMatched;
    if (interrupted() != 0) return Wait::kInterrupted;
    const uint64_t now = base::monotonic_us();
    send_heartbeat_if_due(now);
    if (now >= deadline_us) return Wait::kTimeout;
    pollfd inputs[] = {
        {socket_.get(), POLLIN, 0}, {interrupt_fd(), POLLIN, 0}, {extra_fd, POLLIN, 0}};
    const int ready = ::poll(inputs, 3, poll_ms(now, std::min(deadline_us, next_heartbeat_us_)));
    if (ready <= 0) continue;
    if (inputs[0].revents != 0) receive();
    if (inputs[2].revents != 0) return Wait::kExtra;
  }
}

void CameraLink::drain() {
  // Bounded, so that a flood cannot keep us here.
  for (int i = 0; i < 1000; i++) {
    deliver([](const CameraEvent&) { return false; });
    pollfd input{socket_.get(), POLLIN, 0};
    if (::poll(&input, 1, 0) <= 0) break;
    receive();
  }
}

bool CameraLink::deliver(const Match& match) {
  while (!events_.empty()) {
    const CameraEvent event = events_.front();
    events_.pop_front();
    note(event);
    if (match(event)) return true;
    if (observer_) observer_(event);
  }
  return false;
}

void CameraLink::receive() {
  sockaddr_in from{};
  socklen_t from_length = sizeof from;
  const ssize_t length = ::recvfrom(socket_.get(), buffer_.data(), buffer_.size(), 0,
                                    reinterpret_cast<sockaddr*>(&from), &from_length);
  if (length <= 0 || from_length < sizeof from) return;
  if (options_.trace != nullptr) {
    options_.trace->add(base::monotonic_us(), from, own_address(ntohs(options_.local.sin_port)),
                        std::span(buffer_).first(static_cast<size_t>(length)));
  }
  if (from.sin_addr.s_addr != options_.camera.sin_addr.s_addr) return;
  // A datagram holds whole frames: a fresh parser each time keeps a damaged one from eating the
  // next.
  flightlink::MavlinkParser parser{};
  flightlink::MavlinkMessage message{};
  flightlink::MavlinkParseStatus status{};
  for (ssize_t i = 0; i < length; i++) {
    if (flightlink::mavlink_parser_feed(&parser, buffer_[static_cast<size_t>(i)], &message,
                                        &status) == 1) {
      handle_frame(message);
    }
  }
}

void CameraLink::handle_frame(const flightlink::MavlinkMessage& message) {
  note_sequence(message);
  if (watcher_ && watcher_(message)) frame_matched_ = true;
  if (std::optional<CameraEvent> event = decode_camera_message(message)) {
    events_.push_back(*event);
  }
}

void CameraLink::note_sequence(const flightlink::MavlinkMessage& message) {
  if (message.sysid != kSystemApplication) return;
  if (last_sequence_.has_value()) {
    state_.missed_frames += static_cast<uint8_t>(message.seq - *last_sequence_ - 1);
  }
  last_sequence_ = message.seq;
}

void CameraLink::note(const CameraEvent& event) {
  const uint64_t now = base::monotonic_us();
  if (const auto* beat = std::get_if<CameraHeartbeat>(&event)) {
    state_.heartbeat = *beat;
    state_.heartbeat_us = now;
    state_.recording = beat->recording;
  } else if (const auto* status = std::get_if<CameraStatus>(&event)) {
    state_.status = *status;
    state_.status_us = now;
  } else if (const auto* tick = std::get_if<RecordTick>(&event)) {
    state_.recording = true;
    state_.record_seconds = tick->seconds;
  } else if (const auto* report = std::get_if<CameraReport>(&event)) {
    if (report->code == kReportRecordingStarted) state_.recording = true;
    if (report->code == kReportRecordingStopped) state_.recording = false;
  } else if (const auto* ack = std::get_if<CommandAck>(&event)) {
    if (ack->command == kAckRecordStart && ack->result == kResultDone) state_.recording = true;
    // The camera counts a recording as ended whatever the result was.
    if (ack->command == kAckRecordStop) state_.recording = false;
  }
  if (!state_.recording) state_.record_seconds = 0;
}

}  // namespace groundstation
