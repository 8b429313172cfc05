// MAVLink 1 framing: the frame in memory, the byte-at-a-time parser, the checksum, and building
// frames. Format: MAVLink 1 (common message set's CRC_EXTRA values where the set has them).
//
// Wire frame, n payload bytes, n + 8 bytes in all, little-endian:
//   offset size  field
//        0    1  0xFE
//        1    1  payload length n
//        2    1  sequence number
//        3    1  system id
//        4    1  component id
//        5    1  message id
//        6    n  payload
//      6+n    2  CRC-16/MCRF4XX over bytes 1 to 5+n and the CRC extra byte of the message id
//
// This module knows nothing of what messages mean, or of sockets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace flightlink {

inline constexpr uint8_t kMavlinkStart = 0xFE;
inline constexpr int kMavlinkChannels = 16;
// The UDP peer socket and the TCP application link share this channel's parser state on purpose:
// bytes of the two streams interleave, and a half frame of one is completed by the other's first
// bytes.
inline constexpr int MAVLINK_CHANNEL_APP = 0;
inline constexpr int MAVLINK_CHANNEL_FORWARD = 1;  // no stream feeds it
// System ids of frames that the camera makes: the low nibble names the destination.
inline constexpr uint8_t kSystemFlightController = 35;
inline constexpr uint8_t kSystemApplication = 36;
inline constexpr uint8_t kSystemPeer = 37;
inline constexpr size_t kMavlinkMaxFrame = 255 + 8;

struct MavlinkMessage {
  uint16_t checksum;
  uint8_t magic;
  uint8_t len;
  uint8_t seq;
  uint8_t sysid;
  uint8_t compid;
  uint8_t msgid;
  // 255 payload bytes, and the two checksum bytes right behind the `len` bytes in use.
  alignas(8) uint8_t payload[33 * 8];
};

enum MavlinkParseState : uint8_t {
  kMavlinkUninitialised,
  kMavlinkIdle,
  kMavlinkGotStart,
  kMavlinkGotSequence,
  kMavlinkGotLength,
  kMavlinkGotSystemId,
  kMavlinkGotComponentId,
  kMavlinkGotMessageId,
  kMavlinkGotPayload,
  kMavlinkGotChecksum1,
  kMavlinkGotBadChecksum1,
};

struct MavlinkParseStatus {
  uint8_t msg_received;  // 0 incomplete, 1 good frame, 2 bad checksum
  uint8_t buffer_overrun;
  uint8_t parse_error;
  MavlinkParseState parse_state;
  uint8_t packet_idx;  // payload bytes received so far
  uint8_t current_rx_seq;
  uint8_t current_tx_seq;
  uint16_t packet_rx_success_count;
  uint16_t packet_rx_drop_count;
};

// A parser of its own: the same machine as the numbered channels. Zero-initialise; one thread at a
// time.
struct MavlinkParser {
  MavlinkMessage message;
  MavlinkParseStatus status;
};

// One checksum step. Start with 0xFFFF; there is no final XOR.
void crc_x25_accumulate(uint8_t byte, uint16_t* crc);

// The CRC extra byte of a message id; 0 for ids outside the message set.
[[nodiscard]] uint8_t mavlink_crc_extra(uint8_t msgid);

// Feeds one byte to a numbered channel (0 to 15; any other gives 0 and leaves the outputs alone).
// Returns 1 when a frame with a good checksum has just ended; the frame is then in `message`. A
// frame with a bad checksum is dropped silently and `message` holds it with the received checksum.
// `status` always gets a snapshot: parse_state, packet_idx, current_rx_seq (the next expected),
// success count, and as drop count the parse error of an earlier call, reported once; its other
// fields are left alone. Any thread may call: one call is atomic on its channel, calls of two
// threads interleave.
uint8_t mavlink_frame_parse(int channel, uint8_t byte, MavlinkMessage* message,
                            MavlinkParseStatus* status);

// As mavlink_frame_parse for one byte after the other, up to and with the one that ends a good frame:
// then `*ended` is true and the frame is in `message`. Returns how many were taken, all of them when
// none ended a frame (and for a channel outside 0 to 15, where none can). Payload bytes that stand
// in one piece are taken in one piece: calls of two threads interleave between such pieces.
[[nodiscard]] size_t mavlink_frame_parse_some(int channel, std::span<const uint8_t> bytes,
                                              MavlinkMessage* message, bool* ended);

// Feeds all of them; `take` gets every frame that has ended well.
template <typename Take>
void mavlink_frame_parse_all(int channel, std::span<const uint8_t> bytes, Take take) {
  MavlinkMessage message;
  while (!bytes.empty()) {
    bool ended = false;
    bytes = bytes.subspan(mavlink_frame_parse_some(channel, bytes, &message, &ended));
    if (ended) take(&message);
  }
}

// As mavlink_frame_parse, for a parser of the caller's own.
uint8_t mavlink_parser_feed(MavlinkParser* parser, uint8_t byte, MavlinkMessage* message,
                            MavlinkParseStatus* status);

// Finish a frame whose msgid and payload the caller has filled: magic, len, seq, compid 0, sysid
// and checksum. Each variant numbers its frames with a counter of its own. Return the wire length,
// length + 8. Any thread may call.
int mavlink_frame_finalize_peer(MavlinkMessage* message, uint8_t length, uint8_t crc_extra);  // 37
int mavlink_frame_finalize_app(MavlinkMessage* message, uint8_t length, uint8_t crc_extra);   // 36
int mavlink_frame_finalize(MavlinkMessage* message, uint8_t sysid, uint8_t length,
                           uint8_t crc_extra);
// The same for a sender with a sequence number, and perhaps a component id, of its own.
int mavlink_frame_seal(MavlinkMessage* message, uint8_t sysid, uint8_t seq, uint8_t length,
                       uint8_t crc_extra, uint8_t compid = 0);

// Writes the wire bytes of a finished frame; `buffer` holds at least kMavlinkMaxFrame bytes.
// Returns len + 8.
uint16_t mavlink_frame_to_buffer(uint8_t* buffer, const MavlinkMessage* message);

}  // namespace flightlink
