#include "groundstation/media/messages.h"

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "flightlink/frame/messages.h"
#include "groundstation/messages/whole_number.h"

namespace groundstation {
namespace {

constexpr uint8_t kPhotoListComponent = 195;
constexpr uint8_t kVideoListComponent = 0;
constexpr size_t kCameraName = 49;  // characters that the camera keeps of a name
constexpr float kPhotoRecords = 1.0F;

std::string text_at(const flightlink::MavlinkMessage& message, size_t begin, size_t end) {
  const size_t size = std::min<size_t>(end, message.len);
  if (begin >= size) return "";
  const char* text = reinterpret_cast<const char*>(message.payload) + begin;
  return {text, strnlen(text, size - begin)};
}

std::optional<MediaEvent> decode_media_frame(const flightlink::MavlinkMessage& message) {
  if (message.msgid == flightlink::kFirmwareTransfer.id)
    return MediaNotice{message.seq, text_at(message, 3, 254)};
  if (message.msgid != flightlink::kParameterValue.id || message.len < 54) return std::nullopt;
  const bool photos = base::load_f32le(message.payload) == kPhotoRecords;
  return MediaRecord{message.seq, photos ? MediaKind::kPhoto : MediaKind::kVideo,
                     base::load_u16le(message.payload + 4), base::load_u16le(message.payload + 6),
                     text_at(message, 24, 54)};
}

}  // namespace

flightlink::MavlinkMessage media_request(MediaKind kind, std::string_view name,
                                         MediaOperation operation, uint64_t argument) {
  flightlink::MavlinkMessage message{};
  message.msgid = flightlink::kMediaFile.id;
  message.len = flightlink::kMediaFile.length;
  message.payload[1] = static_cast<uint8_t>(kind);
  std::copy_n(name.begin(), std::min(name.size(), kMediaRequestName), message.payload + 2);
  message.payload[122] = static_cast<uint8_t>(operation);
  const std::string digits = std::to_string(argument);
  std::copy(digits.begin(), digits.end(), message.payload + 123);
  return message;
}

flightlink::MavlinkMessage media_list_request(MediaKind kind) {
  flightlink::MavlinkMessage message{};
  message.msgid = flightlink::kParameterListRequest.id;
  message.compid = kind == MediaKind::kPhoto ? kPhotoListComponent : kVideoListComponent;
  return message;
}

std::optional<MediaKind> media_kind_of(std::string_view name) {
  for (const std::string_view part : {"jpg", "JPG", "JPEG"}) {
    if (name.find(part) != std::string_view::npos) return MediaKind::kPhoto;
  }
  for (const std::string_view part : {"mp4", "MP4"}) {
    if (name.find(part) != std::string_view::npos) return MediaKind::kVideo;
  }
  return std::nullopt;
}

bool MediaNotice::is(std::string_view word, std::string_view name) const {
  std::string wanted(word);
  wanted += ':';
  wanted += name.substr(0, kCameraName);
  return text == wanted || text.starts_with(wanted + ";");
}

std::optional<std::string_view> MediaNotice::field(std::string_view word) const {
  std::string_view rest = text;
  while (true) {
    const size_t end = rest.find(';');
    const std::string_view part = rest.substr(0, end);
    if (part.size() > word.size() && part.starts_with(word) && part[word.size()] == ':') {
      return part.substr(word.size() + 1);
    }
    if (end == std::string_view::npos) return std::nullopt;
    rest.remove_prefix(end + 1);
  }
}

std::optional<MediaEvent> decode_media_datagram(std::span<const uint8_t> datagram) {
  if (datagram.empty()) return std::nullopt;
  const uint8_t channel = datagram[0];
  const std::span<const uint8_t> rest = datagram.subspan(1);
  if (channel == kMediaFileChannel || channel == kMediaPlayChannel) {
    return MediaData{channel, rest};
  }
  if (channel > 1) return std::nullopt;
  flightlink::MavlinkParser parser{};
  flightlink::MavlinkMessage message{};
  flightlink::MavlinkParseStatus status{};
  for (const uint8_t byte : rest) {
    if (flightlink::mavlink_parser_feed(&parser, byte, &message, &status) == 1) {
      return decode_media_frame(message);
    }
  }
  return std::nullopt;
}

std::optional<uint64_t> media_number(std::string_view text) { return whole_number<uint64_t>(text); }

}  // namespace groundstation
