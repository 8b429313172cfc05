#include "flightlink/frame/mavlink_frame.h"

#include <atomic>
#include <cstring>

#include "base/bytes.h"
#include "flightlink/frame/checksum.h"

namespace flightlink {
namespace {

std::atomic<uint8_t> peer_sequence;
std::atomic<uint8_t> app_sequence;
std::atomic<uint8_t> explicit_sequence;

uint8_t next(std::atomic<uint8_t>& counter) {
  return counter.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

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
