// What the media channel sends: datagrams to the application, in three kinds told apart by their
// first byte, the channel.
//
//   channel  the rest of the datagram
//         0  a MAVLink 1 frame: a list record or a notification
//         1  a MAVLink 1 frame: the answer to a size query
//         2  up to 8181 bytes of a file
//         3  up to 8181 bytes of a video that is played (H.264 Annex B)
//
// Frames here have system id 36, component id 100 and one sequence counter of their own.
//
// Message 110, 254 bytes, CRC extra 84, a notification:
//   offset size  field
//        0    3  target bytes, 0
//        3  251  text, at most 249 characters, zero-padded
// Message 22, 55 bytes, CRC extra 49, a list record, little-endian:
//        0    4  float: 1.0 photos, 3.0 videos
//        4    2  files in the list
//        6    2  number of this file, from 1
//        8   16  "PIC" or "VIDEO" and the number
//       24   30  file name, at most 29 characters, zero-padded
//       54    1  11
//
// Every operation returns what the send returned: the bytes of the datagram, or a result below 1
// when it did not go out. Any thread may call all of them; each blocks while two others send.
#pragma once

#include <cstddef>
#include <cstdint>

#include "flightlink/frame/mavlink_frame.h"
#include "media/card/names.h"

namespace media {

// The first byte of a datagram.
enum TransferChannel : uint8_t { kChannelNotices, kChannelSize, kChannelFile, kChannelPlayback };

inline constexpr size_t kTransferChunk = 8181;                   // bytes of a file in a datagram
inline constexpr size_t kTransferDatagram = 1 + kTransferChunk;  // with the channel

// One datagram to the sender of the newest request; -1 when the socket is closed, nothing has been
// received yet, or the wait for a free slot fails. No copy is made.
[[nodiscard]] int64_t transfer_send(const uint8_t* bytes, size_t length);

// A finished frame behind its channel byte.
int64_t transfer_send_frame(const flightlink::MavlinkMessage& frame, uint8_t channel);

// A notification on channel 0; the text is cut.
int64_t transfer_notify_text(const char* text);

int64_t transfer_notify_stream(int32_t on);         // "STREAM_ON" for 1, else "STREAM_OFF"
int64_t transfer_notify_not_found();                // "NOTEXIST"
int64_t transfer_notify_removed(const char* name);  // "FREMOVED:name"
// "FSIZE:bytes;DUR:seconds", or "FSIZE:bytes" with an empty `seconds`; on channel 1.
int64_t transfer_notify_size(uint64_t bytes, const char* seconds);
int64_t transfer_notify_play(int32_t ms, uint32_t time_scale);  // "TIME:ms;SCALE:ticks"
// "TRANSSTART:name;FTYPE:kind;DUR:seconds", the last part only with `seconds` that are not empty.
int64_t transfer_notify_start(const char* name, int32_t kind, const char* seconds);
int64_t transfer_notify_cancelled(const char* name);    // "TRANSCANCELED:name"
int64_t transfer_notify_complete(const char* name);     // "TRANSCOMPLETE:name"
int64_t transfer_notify_thumb_ready(const char* name);  // "THUMBREADY:name"
int64_t transfer_notify_thumb_error(const char* name);  // "THUMBERROR:name"

// One record of the list of photos or videos: number `index`, from 1, of `count`. The sixteen-bit
// fields keep the low half of larger numbers.
int64_t transfer_send_list_record(int32_t kind, size_t count, size_t index, const char* name);

}  // namespace media
