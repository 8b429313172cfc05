// The media channel of the real program as an application uses it, and a fixture with a card of two
// photos and one video.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "photo_files.h"
#include "support/fixtures.h"

namespace media_channel {

using namespace support;  // NOLINT
namespace fs = std::filesystem;

inline constexpr uint16_t kChannelPort = 8857;
inline constexpr uint8_t kPhoto = 1;
inline constexpr uint8_t kThumbnail = 2;
inline constexpr uint8_t kVideo = 3;
enum Operation : uint8_t {
  kSize,
  kDownload,
  kDelete,
  kNone,
  kCancel,
  kPlay,
  kResume,
  kPause,
  kSeek
};

inline const std::string kMedia = "/tmp/SD0/KRVMEDIA/";

inline Bytes read_all(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline Frame file_request(uint8_t kind, uint8_t operation, const std::string& name,
                          const std::string& argument = "") {
  Bytes payload(243);
  payload[1] = kind;
  std::memcpy(payload.data() + 2, name.data(), std::min<size_t>(name.size(), 119));
  payload[122] = operation;
  std::memcpy(payload.data() + 123, argument.data(), std::min<size_t>(argument.size(), 119));
  return message(142, payload);
}

// Two seconds of noise, which no encoder makes small, at 30 pictures per second, of which the first
// of every so many is a key picture.
inline void make_video(const std::string& path, const std::string& key_distance) {
  photo_files::run({"ffmpeg",
                    "-y",
                    "-v",
                    "error",
                    "-f",
                    "lavfi",
                    "-i",
                    "nullsrc=size=320x180:rate=30,geq=random(1)*255:128:128",
                    "-t",
                    "2",
                    "-c:v",
                    "libx264",
                    "-preset",
                    "ultrafast",
                    "-g",
                    key_distance,
                    "-bf",
                    "0",
                    "-x264-params",
                    "threads=1:slices=1",
                    "-bsf:v",
                    "filter_units=remove_types=6",
                    path});
  EXPECT_GT(fs::file_size(path), 1048576U);
}

// The application's end of the channel.
class Application {
 public:
  void send(const Frame& frame) { EXPECT_TRUE(socket_.send(encode(frame), kChannelPort)); }
  void ask(uint8_t kind, uint8_t operation, const std::string& name,
           const std::string& argument = "") {
    send(file_request(kind, operation, name, argument));
  }
  void list(bool photos) {
    Frame frame = message(21, Bytes(2));
    frame.component = photos ? 195 : 0;
    send(frame);
  }
  // Everything before this moment is old.
  void mark() { mark_ = socket_.count(); }

  // A notification that begins so; empty when none comes.
  std::string wait_for(const std::string& text, milliseconds limit = seconds(10)) {
    const auto found = socket_.wait_for(
        [&](const Datagram& datagram) { return notice(datagram).starts_with(text); }, limit, mark_);
    return found ? notice(*found) : "";
  }
  // Names of the list records since the mark, in order.
  [[nodiscard]] std::vector<std::string> listed() const {
    std::vector<std::string> names;
    for (const Datagram& datagram : since_mark()) {
      const auto frame = inner(datagram);
      if (frame && frame->id == 22) names.push_back(text_at(*frame, 24, 30));
    }
    return names;
  }
  // All data of a channel since the mark.
  [[nodiscard]] Bytes data(uint8_t channel) const {
    Bytes bytes;
    for (const Datagram& datagram : since_mark()) {
      if (datagram.bytes[0] != channel) continue;
      bytes.insert(bytes.end(), datagram.bytes.begin() + 1, datagram.bytes.end());
    }
    return bytes;
  }
  // Datagrams of a channel since the mark.
  [[nodiscard]] size_t count(uint8_t channel) const {
    const std::vector<Datagram> all = since_mark();
    return static_cast<size_t>(std::count_if(
        all.begin(), all.end(), [=](const Datagram& d) { return d.bytes[0] == channel; }));
  }
  void send_raw(std::span<const uint8_t> bytes) { socket_.send(bytes, kChannelPort); }

  static std::string notice(const Datagram& datagram) {
    const auto frame = inner(datagram);
    return frame && frame->id == 110 ? text_at(*frame, 3, 251) : "";
  }

 private:
  static std::optional<Frame> inner(const Datagram& datagram) {
    if (datagram.bytes.empty() || datagram.bytes[0] > 1) return std::nullopt;
    return decode({Bytes(datagram.bytes.begin() + 1, datagram.bytes.end()), datagram.arrived});
  }
  static std::string text_at(const Frame& frame, size_t offset, size_t size) {
    const char* text = reinterpret_cast<const char*>(frame.payload.data()) + offset;
    return {text, strnlen(text, size)};
  }
  [[nodiscard]] std::vector<Datagram> since_mark() const {
    std::vector<Datagram> all = socket_.received();
    all.erase(all.begin(), all.begin() + static_cast<ptrdiff_t>(mark_));
    return all;
  }

  PeerSocket socket_{30000};
  size_t mark_ = 0;
};

class MediaChannel : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    for (const char* folder : {"PIC", "VIDEO"}) fs::create_directories(kMedia + folder);
    photo_files::make_photo(kMedia + "PIC/20200101_120000AB.JPG");
    photo_files::make_plain_photo(kMedia + "PIC/plain.JPG");
    make_video(kVideoPath, "15");
    maintask = std::make_unique<RunningMaintask>();
    application = std::make_unique<Application>();
    ASSERT_TRUE(lists(true, 2)) << maintask->process().output();
  }
  static void TearDownTestSuite() {
    application.reset();
    maintask.reset();
  }
  // Whether a list of so many files comes, asked for again and again: a datagram may be lost, and
  // the channel opens a moment after the start. Everything before the list is old then.
  static bool lists(bool photos, size_t count) {
    return poll_until(
        [=] {
          application->mark();
          application->list(photos);
          return poll_until([=] { return application->listed().size() == count; }, seconds(1));
        },
        seconds(10));
  }
  void SetUp() override { application->mark(); }
  void TearDown() override { EXPECT_TRUE(maintask->runs()); }

  static constexpr const char* kVideoPath = "/tmp/SD0/KRVMEDIA/VIDEO/20200101_120000AB.MP4";
  static constexpr const char* kVideoName = "20200101_120000AB.MP4";
  static constexpr const char* kPhotoName = "20200101_120000AB.JPG";
  static inline std::unique_ptr<RunningMaintask> maintask;
  static inline std::unique_ptr<Application> application;
};

}  // namespace media_channel
