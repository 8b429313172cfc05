// Commands that a client may send, and firmware.
#include <nlohmann/json.hpp>

#include "storm/control_sockets.h"
#include "storm/promises.h"
#include "storm/trouble.h"

namespace storm {

using namespace support;  // NOLINT

void Trouble::camera_action() {
  static constexpr int kActions[] = {0, 1, 1, 1, 2, 2, 3, 3, 4, 9};
  const int action = kActions[below(std::size(kActions))];
  const int value = between(0, 110);
  note("action " + std::to_string(action) + " " + std::to_string(value));
  ask_camera(
      {.command = 2, .param1 = static_cast<float>(action), .param2 = static_cast<float>(value)});
}

void Trouble::digicam() {
  const int what = between(1, 4);
  note("digicam " + std::to_string(what));
  ask_camera({.command = 203,
              .param5 = static_cast<float>(between(0, 4)),
              .param6 = static_cast<float>(between(0, 120)),
              .param7 = static_cast<float>(what)});
}

// Asked for a few times, since the camera may not be ready; sometimes under a new name.
void Trouble::photo() {
  const bool named = one_in(3);
  note(named ? "photo with a new name" : "photo");
  for (int tries = between(1, 5); tries > 0; tries--) {
    if (named) {
      ask_camera(
          {.command = 203, .param5 = 1, .param6 = static_cast<float>(salt_ % 90), .param7 = 1});
    } else {
      ask_camera({.command = 2, .param1 = 1});
    }
    let_pass(milliseconds(between(50, 250)));
  }
}

// Values that the fields of the status record hold.
void Trouble::setting() {
  struct Range {
    uint8_t sub;
    int high;
  };
  static constexpr Range kRanges[] = {{2, 10},  {3, 3},  {4, 2},    {5, 2},    {6, 6400}, {7, 9000},
                                      {8, 2},   {9, 0},  {11, 255}, {12, 255}, {13, 255}, {15, 1},
                                      {17, 30}, {18, 1}, {19, 63},  {20, 1},   {21, 1}};
  const Range& range = kRanges[below(std::size(kRanges))];
  const int value = between(0, range.high);
  note("setting " + std::to_string(range.sub) + " " + std::to_string(value));
  ask_camera({.command = 180, .param1 = static_cast<float>(value), .target_component = range.sub});
}

// Needs video mode at 1920x1080 30P; without them it is refused.
void Trouble::timelapse() {
  note("time-lapse");
  service("slice " + std::to_string(between(300, 1500)));
  ask_camera({.command = 2, .param1 = 2});
  let_pass(milliseconds(150));
  ask_camera({.command = 180, .param1 = 4, .target_component = 2});
  let_pass(milliseconds(200));
  ask_camera({.command = 180,
              .param1 = static_cast<float>(between(0, 9)),
              .param3 = static_cast<float>(between(1, 15)),
              .target_component = 16,
              .confirmation = static_cast<uint8_t>(one_in(4) ? 2 : 0)});
}

// Some are long enough to be kept.
void Trouble::recording() {
  const int ms = between(200, 2500);
  note("recording of " + std::to_string(ms) + " ms");
  const auto in_video_mode = [](const Frame& f) { return (f.u8(2) & 15) == 1; };
  for (int tries = 0; tries < 4; tries++) {
    ask_camera({.command = 2, .param1 = 2});
    const size_t mark = board_.peer().mark();
    if (board_.peer().wait_for_status(in_video_mode, milliseconds(400), mark)) break;
  }
  ask_camera({.command = 2, .param1 = 3});
  let_pass(milliseconds(ms));
  if (!one_in(3)) ask_camera({.command = 2, .param1 = 4});
}

void Trouble::clock() {
  note("clock");
  send_clock(board_, 1'600'000'000 + between(0, 100'000'000));
}

void Trouble::small_message() {
  static constexpr uint8_t kIds[] = {21, 56, 24, 32, 90, 105, 107, 67, 141, 0};
  const uint8_t id = kIds[below(std::size(kIds))];
  note("message " + std::to_string(id));
  if (id == 0)
    return send(heartbeat(static_cast<uint8_t>(between(0, 255)), one_in(3) ? 0xF503 : 0));
  send(message(id, noise(below(64))));
}

void Trouble::media_message() {
  const bool photo = one_in(2);
  const std::string name = some_file(photo);
  note("media message " + name);
  Bytes payload(243);
  payload[1] = photo ? 1 : 3;
  const std::string fields = "time:2020:01:01 12:00:00;gps_lon:1;gps_lat:2;gps_alt:3";
  std::copy(name.begin(), name.end(), payload.begin() + 2);
  std::copy(fields.begin(), fields.end(), payload.begin() + 123);
  send(message(142, std::move(payload)));
}

void Trouble::format() {
  if (!one_in(4)) return;  // it takes everything that could be lost with it
  note("format");
  ask_camera({.command = 180, .target_component = 1});
}

// Announces and starts an image, or sends some pieces of the one that was started.
void Trouble::firmware() {
  constexpr size_t kChunk = 240;
  if (!firmware_) {
    note("firmware announced");
    Bytes image = noise(kChunk * static_cast<size_t>(between(20, 400)) + below(kChunk));
    firmware_ = std::make_unique<FirmwareSender>(board_.peer(), std::move(image));
    board_.new_firmware = firmware_->content();
    Frame announcement = command_long(
        {.command = 4, .param1 = static_cast<float>(board_.new_firmware.size())}, 0x48);
    announcement.payload[30] = 1;
    send(announcement);
    return;
  }
  if (!firmware_started_) {
    note("firmware started");
    firmware_->start();
    firmware_started_ = true;
    return;
  }
  const auto chunks = static_cast<uint32_t>(board_.new_firmware.size() / kChunk + 2);
  note("firmware pieces");
  for (int i = between(1, 60); i > 0; i--) {
    firmware_->send_chunk(static_cast<uint32_t>(below(chunks)));
  }
}

// A started transfer asks until it has everything.
void Trouble::end_firmware() {
  if (!firmware_ || !board_.program_runs()) return;
  note("firmware ends");
  // The start may have been lost: the camera says so. "Busy" is its word for one that was not.
  firmware_->start();
  auto result = firmware_->serve(seconds(6));
  for (int tries = 0; tries < 3 && result == 4; tries++) result = firmware_->serve(seconds(6));
  note("firmware result " + (result ? std::to_string(*result) : "none"));
}

std::string Trouble::some_file(bool photo) {
  const std::vector<std::string> names = list_folder(photo ? kPictures : kVideos);
  if (names.empty() || one_in(5)) return photo ? "20200101_120000AB.JPG" : "20200101_120000AB.MP4";
  return names[below(names.size())].substr(0, 100);
}

void Trouble::list() {
  note("list");
  board_.media().list(one_in(2));
}

void Trouble::download() {
  const bool photo = one_in(2);
  const std::string name = some_file(photo);
  note("download " + name);
  board_.media().ask(photo ? media_channel::kPhoto : media_channel::kVideo,
                     media_channel::kDownload, name,
                     std::to_string(one_in(2) ? 0 : between(-5, 9'000'000)));
}

void Trouble::playback() {
  static constexpr uint8_t kOperations[] = {5, 5, 5, 6, 7, 8, 8, 4};
  const uint8_t operation = kOperations[below(std::size(kOperations))];
  const std::string name = some_file(false);
  note("playback " + std::to_string(operation) + " " + name);
  board_.media().ask(media_channel::kVideo, operation, name, std::to_string(between(-100, 6000)));
}

void Trouble::other_media() {
  switch (below(4)) {
    case 0:
      note("size");
      return board_.media().ask(static_cast<uint8_t>(between(1, 3)), media_channel::kSize,
                                some_file(one_in(2)));
    case 1:
      note("thumbnail");
      return board_.media().ask(media_channel::kThumbnail, static_cast<uint8_t>(below(2)),
                                some_file(one_in(2)), "0");
    case 2:
      note("cancel");
      return board_.media().ask(static_cast<uint8_t>(between(1, 3)), media_channel::kCancel,
                                some_file(one_in(2)));
    default:
      note("hold");
      return board_.media().send(message(67, {0, 0, 0, static_cast<uint8_t>(below(2))}));
  }
}

void Trouble::remove_file() {
  const bool photo = one_in(2);
  const std::string name = some_file(photo);
  note("delete " + name);
  board_.deleted.insert(photo ? picture_of(kPictures + name) : name);
  board_.media().ask(photo ? media_channel::kPhoto : media_channel::kVideo, media_channel::kDelete,
                     name);
}

}  // namespace storm
