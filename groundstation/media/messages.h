// The media channel as its client sees it: requests to UDP port 8857, and what comes back, told
// apart by the first byte of the datagram.
//
//   channel  the rest
//         0  a MAVLink 1 frame: notice (110) or list record (22)
//         1  a MAVLink 1 frame: the notice that answers a size query
//         2  up to 8181 bytes of a file
//         3  up to 8181 bytes of a video that is played
//
// Request 142, 243 bytes: kind @1, name @2 (120 bytes), operation @122, argument @123 (120 bytes,
// decimal text). Request 21, no payload: the list; component id 195 asks for photos.
// Notice 110: text @3. List record 22: u16 count @4, u16 number from 1 @6, name @24 (30 bytes).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "flightlink/frame/mavlink_frame.h"

namespace groundstation {

inline constexpr uint16_t kMediaPort = 8857;
inline constexpr size_t kMediaChunk = 8181;       // bytes of a file in a datagram
inline constexpr size_t kMediaRequestName = 119;  // characters that a request can carry
inline constexpr uint8_t kMediaFileChannel = 2;
inline constexpr uint8_t kMediaPlayChannel = 3;

enum class MediaKind : uint8_t { kPhoto = 1, kThumbnail = 2, kVideo = 3 };

enum class MediaOperation : uint8_t {
  kSize = 0,
  kDownload = 1,
  kDelete = 2,
  kCancel = 4,
  kPlay = 5,    // argument: start, ms
  kResume = 6,  //
  kPause = 7,   //
  kSeek = 8,    // argument: time, ms
};

// Requests without sequence number and checksum. A longer name is cut.
[[nodiscard]] flightlink::MavlinkMessage media_request(MediaKind kind, std::string_view name,
                                                       MediaOperation operation,
                                                       uint64_t argument = 0);
[[nodiscard]] flightlink::MavlinkMessage media_list_request(MediaKind kind);

// Photo or video, by the name, as the camera tells them apart. Nothing for other names.
[[nodiscard]] std::optional<MediaKind> media_kind_of(std::string_view name);

struct MediaNotice {
  uint8_t sequence;
  std::string text;

  // Whether the text is "word:name", perhaps with more fields behind it. The camera cuts the name.
  [[nodiscard]] bool is(std::string_view word, std::string_view name) const;
  // What stands behind "word:" in a text of such fields; nothing without that field.
  [[nodiscard]] std::optional<std::string_view> field(std::string_view word) const;
};

struct MediaRecord {
  uint8_t sequence;
  MediaKind kind;
  uint16_t count;
  uint16_t number;
  std::string name;
};

struct MediaData {
  uint8_t channel;
  std::span<const uint8_t> bytes;  // of the datagram that was decoded
};

using MediaEvent = std::variant<MediaNotice, MediaRecord, MediaData>;

// Nothing for a datagram that is none of these.
[[nodiscard]] std::optional<MediaEvent> decode_media_datagram(std::span<const uint8_t> datagram);

// A decimal number; nothing for any other text.
[[nodiscard]] std::optional<uint64_t> media_number(std::string_view text);

}  // namespace groundstation
