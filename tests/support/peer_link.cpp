#include "support/peer_link.h"

#include <gtest/gtest.h>

#include <utility>

namespace support {

PeerLink::PeerLink()
    : socket_(8888), heartbeats_([this] {
        for (int ticks = 0; !stop_; ticks++) {
          const int status = heartbeat_status_;
          if (status >= 0 && ticks % 50 == 0) {
            socket_.send(encode(heartbeat(static_cast<uint8_t>(status))), 8888);
          }
          std::this_thread::sleep_for(milliseconds(10));
        }
      }) {}

PeerLink::~PeerLink() {
  stop_ = true;
  heartbeats_.join();
}

void PeerLink::keep_alive(uint8_t system_status) {
  heartbeat_status_ = system_status;
  socket_.send(encode(heartbeat(system_status)), 8888);
}

void PeerLink::fall_silent() { heartbeat_status_ = -1; }

void PeerLink::send(Frame frame) {
  frame.sequence = sequence_++;
  EXPECT_TRUE(socket_.send(encode(frame), 8888));
}

std::vector<Frame> PeerLink::frames(size_t mark) const {
  std::vector<Frame> result;
  const auto datagrams = socket_.received();
  for (size_t i = mark; i < datagrams.size(); i++) {
    auto frame = decode(datagrams[i]);
    if (frame) {
      result.push_back(std::move(*frame));
    } else {
      ADD_FAILURE() << "not one good frame: " << hex(datagrams[i].bytes);
    }
  }
  return result;
}

std::optional<Frame> PeerLink::wait_for(const std::function<bool(const Frame&)>& wanted,
                                        milliseconds limit, size_t mark) {
  std::optional<Frame> found;
  socket_.wait_for(
      [&](const Datagram& datagram) {
        auto frame = decode(datagram);
        EXPECT_TRUE(frame) << "not one good frame: " << hex(datagram.bytes);
        if (!frame || !wanted(*frame)) return false;
        found = std::move(frame);
        return true;
      },
      limit, mark);
  return found;
}

std::optional<Frame> PeerLink::wait_for_id(uint8_t id, milliseconds limit, size_t mark) {
  return wait_for([id](const Frame& frame) { return frame.id == id; }, limit, mark);
}

std::optional<Frame> PeerLink::wait_for_ack(uint16_t command, milliseconds limit, size_t mark) {
  return wait_for(
      [command](const Frame& frame) { return frame.id == 77 && frame.u16(0) == command; }, limit,
      mark);
}

std::optional<Frame> PeerLink::wait_for_status(const std::function<bool(const Frame&)>& wanted,
                                               milliseconds limit, size_t mark) {
  return wait_for(
      [&wanted](const Frame& frame) {
        return frame.id == 76 && frame.system == 36 && frame.u16(28) == 2 && wanted(frame);
      },
      limit, mark);
}

std::optional<Frame> PeerLink::wait_for_report(float code, milliseconds limit, size_t mark) {
  return wait_for(
      [code](const Frame& frame) {
        return frame.id == 76 && frame.system == 35 && frame.u16(28) == 2 && frame.u8(30) == 100 &&
               frame.f32(0) == code;
      },
      limit, mark);
}

}  // namespace support
