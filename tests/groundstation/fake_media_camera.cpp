#include "groundstation/fake_media_camera.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "base/clock.h"

namespace groundstation_test {
namespace {

constexpr size_t kChunk = 8181;

std::string text_in(const flightlink::MavlinkMessage& message, size_t at) {
  return reinterpret_cast<const char*>(message.payload) + at;
}

std::string thumbnail_name(const std::string& name) {
  return name.substr(0, name.rfind('.')) +
         (name.find("MP4") == std::string::npos ? "_p.JPG" : "_v.JPG");
}

}  // namespace

FakeMediaCamera::FakeMediaCamera(const MediaScript& script)
    : script_(script), random_(script.seed) {
  start(run, this);
}

FakeMediaCamera::~FakeMediaCamera() { stop(); }

std::vector<std::pair<int, std::string>> FakeMediaCamera::requests() {
  const std::lock_guard lock(mutex_);
  return requests_;
}

int FakeMediaCamera::count(int operation) {
  const auto all = requests();
  return static_cast<int>(std::count_if(
      all.begin(), all.end(), [&](const auto& request) { return request.first == operation; }));
}

// Owns everything but what the accessors read.
void* FakeMediaCamera::run(void* self) {
  auto* camera = static_cast<FakeMediaCamera*>(self);
  while (!camera->stopping()) {
    camera->take_all(camera->queue_.empty() ? 5 : 0);
    if (camera->queue_.empty()) continue;
    const Item item = camera->queue_.front();
    camera->queue_.pop_front();
    camera->cancel_ = false;
    camera->handle(item);
  }
  return nullptr;
}

void FakeMediaCamera::take_all(int wait_ms) {
  while (const auto frames = receive(wait_ms)) {
    wait_ms = 0;
    if (script_.silent || lost()) continue;
    for (const flightlink::MavlinkMessage& message : *frames) take(message);
  }
}

void FakeMediaCamera::take(const flightlink::MavlinkMessage& message) {
  if (message.msgid == 142) {
    const std::lock_guard lock(mutex_);
    requests_.emplace_back(message.payload[122], text_in(message, 123));
  }
  const int operation = message.msgid == 142 ? message.payload[122] : -1;
  if (operation == 4) {
    cancel_ = true;
  } else if (operation == 6 || operation == 7) {
    paused_ = operation == 7;
  } else if (operation == 8) {
    seek_ms_ = std::stoi(text_in(message, 123));
  } else if (message.msgid == 142 || message.msgid == 21) {
    queue_.push_back({message, false});
  }
}

void FakeMediaCamera::handle(const Item& item) {
  if (item.message.msgid == 21) return list(item.message.compid == 195);
  std::string name = text_in(item.message, 2);
  const int kind = item.message.payload[1];
  if (kind != 2) return handle_request(item, kind == 1 ? &script_.photos : &script_.videos, name);
  if (thumbnails_.contains(thumbnail_name(name))) {
    return handle_request(item, &thumbnails_, thumbnail_name(name));
  }
  notice("NOTEXIST");
  make_thumbnail(name);
}

void FakeMediaCamera::make_thumbnail(const std::string& name) {
  if (!script_.photos.contains(name) && !script_.videos.contains(name)) return;
  if (script_.bad_thumbnails.contains(name)) return notice("THUMBERROR:" + name);
  thumbnails_[thumbnail_name(name)] = "small " + name;
  notice("THUMBREADY:" + name);
}

void FakeMediaCamera::handle_request(const Item& item, std::map<std::string, std::string>* files,
                                     const std::string& name) {
  const auto file = files->find(name);
  const bool known = script_.knows_files || lists_ > 0;
  if (file == files->end() || !known) return notice("NOTEXIST");
  const int operation = item.message.payload[122];
  const int kind = item.message.payload[1];
  const std::string argument = text_in(item.message, 123);
  if (operation == 0) {
    notice(
        fmt::format("FSIZE:{}{}", file->second.size(), kind == 3 ? ";DUR:" + script_.seconds : ""),
        1);
  } else if (operation == 2 && !script_.keeps_files) {
    files->erase(file);
    notice("FREMOVED:" + name);
  } else if ((operation == 1 || operation == 5) && !item.transfer) {
    queue_.push_back({item.message, true});
  } else if (operation == 1) {
    send_file(kind, text_in(item.message, 2), file->second, std::stoul(argument));
  } else if (operation == 5) {
    play(name, std::stoi(argument));
  }
}

void FakeMediaCamera::add_later() {
  for (const auto& [name, bytes] : script_.later) {
    (name.find("MP4") == std::string::npos ? script_.photos : script_.videos)[name] = bytes;
  }
}

void FakeMediaCamera::list(bool photos) {
  lists_++;
  if (lists_to_come_ >= 0 && lists_to_come_-- == 0) add_later();
  const auto& files = photos ? script_.photos : script_.videos;
  uint16_t number = 0;
  for (const auto& [name, bytes] : files) {
    std::string payload(55, '\0');
    auto* to = reinterpret_cast<uint8_t*>(payload.data());
    base::store_f32le(to, photos ? 1.0F : 3.0F);
    base::store_u16le(to + 4, static_cast<uint16_t>(files.size()));
    base::store_u16le(to + 6, ++number);
    payload.replace(24, std::min<size_t>(name.size(), 29), name.substr(0, 29));
    send_frame(0, 22, payload);
  }
}

void FakeMediaCamera::send_file(int kind, const std::string& name, const std::string& bytes,
                                size_t offset) {
  notice(fmt::format("TRANSSTART:{};FTYPE:{}", name, kind));
  for (size_t at = offset; at < bytes.size(); at += kChunk) {
    take_all(0);
    if (cancel_ || !queue_.empty() || stopping()) return notice("TRANSCANCELED:" + name);
    send(2, bytes.substr(at, kChunk));
  }
  notice("TRANSCOMPLETE:" + name);
}

void FakeMediaCamera::play(const std::string& name, int ms) {
  paused_ = false;
  seek_ms_ = ms;
  for (size_t next = 0; next < script_.play.size();) {
    take_all(0);
    if (cancel_ || !queue_.empty() || stopping()) return;
    if (seek_ms_ >= 0) {
      notice(fmt::format("TIME:{};SCALE:90000", seek_ms_));
      send(3, script_.play[0]);
      seek_ms_ = -1;
      next = 1;
    }
    base::sleep_us(paused_ ? 1000 : script_.play_pause_us);
    if (paused_) continue;
    if (next < script_.play.size()) send(3, script_.play[next++]);
  }
  if (script_.breaks_off) return;
  if (script_.loses_end) {
    sequence_++;
  } else {
    notice("TRANSCOMPLETE:" + name);
  }
}

bool FakeMediaCamera::lost() {
  return std::uniform_real_distribution<>(0, 1)(random_) < script_.loss;
}

void FakeMediaCamera::send(uint8_t channel, const std::string& bytes) {
  if (lost()) return;
  const std::string datagram = static_cast<char>(channel) + bytes;
  send_to_peer({reinterpret_cast<const uint8_t*>(datagram.data()), datagram.size()});
}

void FakeMediaCamera::send_frame(uint8_t channel, uint8_t msgid, const std::string& payload) {
  flightlink::MavlinkMessage message{};
  message.msgid = msgid;
  std::copy(payload.begin(), payload.end(), message.payload);
  flightlink::mavlink_frame_seal(&message, 36, sequence_++, static_cast<uint8_t>(payload.size()),
                                 flightlink::mavlink_crc_extra(msgid), 100);
  uint8_t wire[flightlink::kMavlinkMaxFrame];
  const uint16_t size = flightlink::mavlink_frame_to_buffer(wire, &message);
  send(channel, {reinterpret_cast<const char*>(wire), size});
}

void FakeMediaCamera::notice(const std::string& text, uint8_t channel) {
  std::string payload(254, '\0');
  payload.replace(3, std::min<size_t>(text.size(), 249), text.substr(0, 249));
  send_frame(channel, 110, payload);
}

}  // namespace groundstation_test
