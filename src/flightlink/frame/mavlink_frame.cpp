#include "flightlink/frame/mavlink_frame.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>

#include "base/bytes.h"
#include "flightlink/frame/biased_mutex.h"

namespace flightlink {
namespace {

constexpr uint16_t kChecksumStart = 0xFFFF;

struct CrcExtraRow {
  uint8_t msgid;
  uint8_t crc_extra;
};

constexpr CrcExtraRow kCrcExtraRows[] = {
    {0, 50},    {1, 124},   {2, 137},   {4, 237},   {5, 217},   {6, 104},   {7, 119},   {11, 89},
    {20, 214},  {21, 159},  {22, 49},   {23, 244},  {24, 24},   {25, 23},   {26, 170},  {27, 144},
    {28, 67},   {29, 115},  {30, 39},   {31, 246},  {32, 185},  {33, 104},  {34, 237},  {35, 244},
    {36, 222},  {37, 212},  {38, 9},    {39, 254},  {40, 230},  {41, 28},   {42, 28},   {43, 132},
    {44, 221},  {45, 232},  {46, 11},   {47, 153},  {48, 41},   {49, 39},   {50, 78},   {51, 30},
    {52, 221},  {53, 221},  {54, 15},   {55, 3},    {56, 150},  {57, 229},  {58, 132},  {59, 24},
    {61, 153},  {62, 183},  {63, 51},   {64, 59},   {65, 118},  {66, 148},  {67, 21},   {69, 243},
    {70, 124},  {73, 38},   {74, 20},   {75, 158},  {76, 152},  {77, 143},  {81, 106},  {82, 49},
    {83, 22},   {84, 143},  {85, 140},  {86, 5},    {87, 150},  {89, 231},  {90, 183},  {91, 63},
    {92, 54},   {100, 175}, {101, 102}, {102, 158}, {103, 208}, {104, 56},  {105, 93},  {106, 138},
    {107, 108}, {108, 32},  {109, 185}, {110, 84},  {111, 34},  {112, 174}, {113, 124}, {114, 237},
    {115, 4},   {116, 76},  {117, 128}, {118, 56},  {119, 116}, {120, 134}, {121, 237}, {122, 203},
    {123, 250}, {124, 87},  {125, 203}, {126, 220}, {127, 25},  {128, 226}, {129, 46},  {130, 29},
    {131, 223}, {132, 85},  {133, 6},   {134, 229}, {135, 203}, {136, 1},   {137, 195}, {138, 109},
    {139, 168}, {140, 181}, {141, 148}, {142, 72},  {146, 103}, {147, 154}, {148, 178}, {149, 200},
    {241, 90},  {242, 104}, {243, 85},  {244, 95},  {248, 8},   {249, 204}, {250, 49},  {251, 170},
    {252, 44},  {253, 83},  {254, 46},
};

constexpr std::array<uint8_t, 256> make_crc_extra_table() {
  std::array<uint8_t, 256> table{};
  for (const CrcExtraRow& row : kCrcExtraRows) table[row.msgid] = row.crc_extra;
  return table;
}

constexpr std::array<uint8_t, 256> kCrcExtra = make_crc_extra_table();

struct alignas(512) Channel {  // a power of two: found by a shift
  BiasedMutex mutex;           // held for one byte or piece, so that two threads' bytes interleave
  MavlinkParser parser;
};

Channel channels[kMavlinkChannels];

std::atomic<uint8_t> peer_sequence;
std::atomic<uint8_t> app_sequence;
std::atomic<uint8_t> explicit_sequence;

uint8_t next(std::atomic<uint8_t>& counter) {
  return counter.fetch_add(1, std::memory_order_relaxed);
}

constexpr uint16_t checksum_step(uint8_t byte, uint16_t crc) {
  auto t = static_cast<uint8_t>(byte ^ (crc & 0xFF));
  t = static_cast<uint8_t>(t ^ (t << 4));
  return static_cast<uint16_t>((crc >> 8) ^ (t << 8) ^ (t << 3) ^ (t >> 4));
}

using SumTables = std::array<std::array<uint16_t, 256>, 4>;

// Row k holds what a byte adds to the sum k bytes further on.
constexpr SumTables make_sum_tables() {
  SumTables tables{};
  for (size_t byte = 0; byte < 256; byte++) {
    uint16_t sum = checksum_step(static_cast<uint8_t>(byte), 0);
    for (auto& row : tables) {
      row[byte] = sum;
      sum = checksum_step(0, sum);
    }
  }
  return tables;
}

constexpr SumTables kSum = make_sum_tables();

// What is summed stands in one piece: the header behind the start byte, then the payload.
constexpr size_t kSummedHeader = 5;
static_assert(offsetof(MavlinkMessage, payload) == offsetof(MavlinkMessage, len) + kSummedHeader);

// Over that piece, four bytes a step, and the CRC extra byte.
uint16_t frame_checksum(const MavlinkMessage& frame, uint8_t crc_extra) {
  uint16_t crc = kChecksumStart;
  const auto* at = reinterpret_cast<const uint8_t*>(&frame) + offsetof(MavlinkMessage, len);
  const uint8_t* end = at + kSummedHeader + frame.len;
  for (; end - at >= 4; at += 4) {
    const auto mixed = static_cast<uint16_t>(crc ^ base::load_u16le(at));
    crc = static_cast<uint16_t>(kSum[3][mixed & 0xFF] ^ kSum[2][mixed >> 8] ^ kSum[1][at[2]] ^
                                kSum[0][at[3]]);
  }
  for (; at < end; at++) crc = checksum_step(*at, crc);
  return checksum_step(crc_extra, crc);
}

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
  frame.checksum = frame_checksum(frame, kCrcExtra[frame.msgid]);
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

void crc_x25_accumulate(uint8_t byte, uint16_t* crc) { *crc = checksum_step(byte, *crc); }

uint8_t mavlink_crc_extra(uint8_t msgid) { return kCrcExtra[msgid]; }

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

int mavlink_frame_seal(MavlinkMessage* message, uint8_t sysid, uint8_t seq, uint8_t length,
                       uint8_t crc_extra, uint8_t compid) {
  message->magic = kMavlinkStart;
  message->len = length;
  message->seq = seq;
  message->sysid = sysid;
  message->compid = compid;
  const uint16_t crc = frame_checksum(*message, crc_extra);
  message->checksum = crc;
  base::store_u16le(message->payload + length, crc);
  return length + 8;
}

int mavlink_frame_finalize_peer(MavlinkMessage* message, uint8_t length, uint8_t crc_extra) {
  return mavlink_frame_seal(message, kSystemPeer, next(peer_sequence), length, crc_extra);
}

int mavlink_frame_finalize_app(MavlinkMessage* message, uint8_t length, uint8_t crc_extra) {
  return mavlink_frame_seal(message, kSystemApplication, next(app_sequence), length, crc_extra);
}

int mavlink_frame_finalize(MavlinkMessage* message, uint8_t sysid, uint8_t length,
                           uint8_t crc_extra) {
  return mavlink_frame_seal(message, sysid, next(explicit_sequence), length, crc_extra);
}

uint16_t mavlink_frame_to_buffer(uint8_t* buffer, const MavlinkMessage* message) {
  const uint8_t header[] = {message->magic, message->len,    message->seq,
                            message->sysid, message->compid, message->msgid};
  std::memcpy(buffer, header, sizeof(header));
  std::memcpy(buffer + sizeof(header), message->payload, message->len);
  base::store_u16le(buffer + sizeof(header) + message->len, message->checksum);
  return static_cast<uint16_t>(message->len + 8);
}

}  // namespace flightlink
