#include <algorithm>
#include <cstring>
#include <mutex>

#include "flightlink/frame/biased_mutex.h"
#include "flightlink/frame/checksum.h"
#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {
namespace {

struct alignas(512) Channel {  // a power of two: found by a shift
  BiasedMutex mutex;           // held for one byte or piece, so that two threads' bytes interleave
  MavlinkParser parser;
};

Channel channels[kMavlinkChannels];

void start_frame(MavlinkMessage& frame) {
  frame.len = 0;
  frame.magic = kMavlinkStart;
  frame.checksum = kChecksumStart;
}

// One header byte, and on to the next state.
inline void take_header(MavlinkParser& parser, uint8_t& field, uint8_t byte,
                        MavlinkParseState next_state) {
  field = byte;
  parser.status.parse_state = next_state;
}

// The frame is summed up here, at once: a sum kept from byte to byte would cost each byte the time
// of one step and of a store and a load.
void take_first_checksum_byte(MavlinkParser& parser, uint8_t byte) {
  MavlinkMessage& frame = parser.message;
  frame.checksum = frame_checksum(frame, mavlink_crc_extra(frame.msgid));
  parser.status.parse_state =
      byte == (frame.checksum & 0xFF) ? kMavlinkGotChecksum1 : kMavlinkGotBadChecksum1;
  frame.payload[frame.len] = byte;
}

void take_second_checksum_byte(MavlinkParser& parser, uint8_t byte, MavlinkMessage* message) {
  MavlinkMessage& frame = parser.message;
  MavlinkParseStatus& status = parser.status;
  const bool bad = status.parse_state == kMavlinkGotBadChecksum1 || byte != (frame.checksum >> 8);
  status.msg_received = bad ? 2 : 1;
  status.parse_state = kMavlinkIdle;
  frame.payload[frame.len + 1] = byte;
  *message = frame;
  if (bad) return;
  status.current_rx_seq = frame.seq;
  if (status.packet_rx_success_count == 0) status.packet_rx_drop_count = 0;
  status.packet_rx_success_count++;
}

// A byte of anything but the payload.
void take_other(MavlinkParser& parser, uint8_t byte, MavlinkMessage* message) {
  MavlinkMessage& frame = parser.message;
  MavlinkParseStatus& status = parser.status;
  switch (status.parse_state) {
    case kMavlinkGotStart:
      status.packet_idx = 0;
      take_header(parser, frame.len, byte, kMavlinkGotLength);
      break;
    case kMavlinkGotLength:
      take_header(parser, frame.seq, byte, kMavlinkGotSequence);
      break;
    case kMavlinkGotSequence:
      take_header(parser, frame.sysid, byte, kMavlinkGotSystemId);
      break;
    case kMavlinkGotSystemId:
      take_header(parser, frame.compid, byte, kMavlinkGotComponentId);
      break;
    case kMavlinkGotComponentId:
      take_header(parser, frame.msgid, byte,
                  frame.len != 0 ? kMavlinkGotMessageId : kMavlinkGotPayload);
      break;
    case kMavlinkGotPayload:
      take_first_checksum_byte(parser, byte);
      break;
    case kMavlinkGotChecksum1:
    case kMavlinkGotBadChecksum1:
      take_second_checksum_byte(parser, byte, message);
      break;
    default:  // idle: anything but a start byte is noise and is not counted
      if (byte != kMavlinkStart) break;
      start_frame(frame);
      status.parse_state = kMavlinkGotStart;
      break;
  }
}

// After a bad frame: the error is for the next call's snapshot, and a start byte at the place of
// the second checksum byte is not lost.
void reject_frame(MavlinkParser& parser, uint8_t byte, MavlinkMessage* message) {
  MavlinkMessage& frame = parser.message;
  MavlinkParseStatus& status = parser.status;
  const auto received =
      static_cast<uint16_t>(frame.payload[frame.len] | (frame.payload[frame.len + 1] << 8));
  frame.checksum = received;
  message->checksum = received;
  status.msg_received = 0;
  status.parse_error = 1;
  if (byte != kMavlinkStart) return;
  start_frame(frame);
  status.parse_state = kMavlinkGotStart;
}

// What a caller is told after each byte; the parse error of an earlier one is told once.
inline void give_snapshot(MavlinkParseStatus& status, MavlinkParseStatus* snapshot) {
  const MavlinkParseStatus now = status;
  status.parse_error = 0;
  snapshot->parse_state = now.parse_state;
  snapshot->packet_idx = now.packet_idx;
  snapshot->current_rx_seq = static_cast<uint8_t>(now.current_rx_seq + 1);
  snapshot->packet_rx_success_count = now.packet_rx_success_count;
  snapshot->packet_rx_drop_count = now.parse_error;
}

// Most bytes are payload bytes. Their state is only reached when msg_received and parse_error are
// 0.
inline void take_payload(MavlinkParser& parser, uint8_t byte, MavlinkParseStatus* snapshot) {
  MavlinkMessage& frame = parser.message;
  MavlinkParseStatus& status = parser.status;
  const uint8_t index = status.packet_idx;
  const auto next_index = static_cast<uint8_t>(index + 1);
  const bool last = next_index == frame.len;
  const uint16_t good_frames = status.packet_rx_success_count;
  const auto next_seq = static_cast<uint8_t>(status.current_rx_seq + 1);
  const MavlinkParseState state = last ? kMavlinkGotPayload : kMavlinkGotMessageId;
  frame.payload[index] = byte;
  status.packet_idx = next_index;
  status.parse_state = state;
  snapshot->parse_state = state;
  snapshot->packet_idx = next_index;
  snapshot->current_rx_seq = next_seq;
  snapshot->packet_rx_success_count = good_frames;
  snapshot->packet_rx_drop_count = 0;
}

uint8_t feed(MavlinkParser& parser, uint8_t byte, MavlinkMessage* message,
             MavlinkParseStatus* snapshot) {
  MavlinkParseStatus& status = parser.status;
  if (status.parse_state == kMavlinkGotMessageId) {
    take_payload(parser, byte, snapshot);
    return 0;
  }
  status.msg_received = 0;
  take_other(parser, byte, message);
  give_snapshot(status, snapshot);
  if (status.msg_received == 2) reject_frame(parser, byte, message);
  return status.msg_received;
}

// The payload bytes that are there, at once; any other byte alone. Returns how many were taken.
size_t feed_piece(MavlinkParser& parser, std::span<const uint8_t> bytes, MavlinkMessage* message,
                  uint8_t* result) {
  MavlinkParseStatus& status = parser.status;
  MavlinkParseStatus snapshot;
  if (status.parse_state != kMavlinkGotMessageId) {
    *result = feed(parser, bytes.front(), message, &snapshot);
    return 1;
  }
  const size_t wanted = parser.message.len - size_t{status.packet_idx};
  const size_t count = std::min(wanted, bytes.size());
  std::memcpy(parser.message.payload + status.packet_idx, bytes.data(), count);
  status.packet_idx = static_cast<uint8_t>(status.packet_idx + count);
  if (count == wanted) status.parse_state = kMavlinkGotPayload;
  *result = 0;
  return count;
}

// The two roads beside a payload byte of the channel's usual thread. They stand apart so that this
// one, which is nearly every call, saves no registers.
[[gnu::noinline]] uint8_t parse_by_bias(Channel& channel, uint8_t byte, MavlinkMessage* message,
                                        MavlinkParseStatus* snapshot) {
  const uint8_t result = feed(channel.parser, byte, message, snapshot);
  channel.mutex.leave_by_bias();
  return result;
}

[[gnu::noinline]] uint8_t parse_by_mutex(Channel& channel, uint8_t byte, MavlinkMessage* message,
                                         MavlinkParseStatus* snapshot) {
  const std::lock_guard lock(channel.mutex);
  return feed(channel.parser, byte, message, snapshot);
}

}  // namespace

uint8_t mavlink_frame_parse(int channel, uint8_t byte, MavlinkMessage* message,
                            MavlinkParseStatus* status) {
  if (channel < 0 || channel >= kMavlinkChannels) return 0;
  Channel& mine = channels[channel];
  if (!mine.mutex.enter_by_bias()) return parse_by_mutex(mine, byte, message, status);
  if (mine.parser.status.parse_state != kMavlinkGotMessageId) {
    return parse_by_bias(mine, byte, message, status);
  }
  take_payload(mine.parser, byte, status);
  mine.mutex.leave_by_bias();
  return 0;
}

size_t mavlink_frame_parse_some(int channel, std::span<const uint8_t> bytes,
                                MavlinkMessage* message, bool* ended) {
  *ended = false;
  if (channel < 0 || channel >= kMavlinkChannels) return bytes.size();
  Channel& mine = channels[channel];
  size_t taken = 0;
  while (taken < bytes.size() && !*ended) {
    uint8_t result = 0;
    if (mine.mutex.enter_by_bias()) {
      taken += feed_piece(mine.parser, bytes.subspan(taken), message, &result);
      mine.mutex.leave_by_bias();
    } else {
      const std::lock_guard lock(mine.mutex);
      taken += feed_piece(mine.parser, bytes.subspan(taken), message, &result);
    }
    *ended = result == 1;
  }
  return taken;
}

uint8_t mavlink_parser_feed(MavlinkParser* parser, uint8_t byte, MavlinkMessage* message,
                            MavlinkParseStatus* status) {
  return feed(*parser, byte, message, status);
}

}  // namespace flightlink
