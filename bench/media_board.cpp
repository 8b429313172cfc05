#include "media_board.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

namespace bench {
namespace {

using namespace support;  // NOLINT

Frame request(uint8_t kind, uint8_t operation, const std::string& name) {
  Bytes payload(243);
  payload[1] = kind;
  std::memcpy(payload.data() + 2, name.data(), name.size());
  payload[122] = operation;
  return message(142, payload);
}

// A second of noise, and the same with a box of bytes behind it that nobody looks into: a recording
// of any size that reads as one.
void make_files() {
  const std::string clip = kVideos + std::string("clip.MP4");
  for (const char* folder : {kVideos, kPictures, kThumbnails}) {
    std::filesystem::create_directories(folder);
  }
  run_command({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
               "nullsrc=size=1280x720:rate=30,geq=random(1)*255:128:128", "-t", "1", "-c:v",
               "libx264", "-preset", "ultrafast", clip},
              seconds(120));
  std::string bytes = read_file(clip);
  const auto box_size = static_cast<uint32_t>(kBigFile - bytes.size());
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(box_size >> shift & 0xFF);
  bytes += "free";
  std::mt19937 random(1);
  while (bytes.size() < kBigFile) bytes += static_cast<char>(random());
  write_file(kVideos + std::string("big.MP4"), bytes);
  write_file(kPictures + std::string("small.JPG"), std::string_view(bytes).substr(0, 50000));
}

}  // namespace

Frame download_request(uint8_t kind, const std::string& name) { return request(kind, 1, name); }
Frame cancel_request() { return request(0, 4, ""); }

Frame list_request(bool photos) {
  Frame frame = message(21, Bytes(2));
  frame.component = photos ? 195 : 0;
  return frame;
}

// The card and the session are there before the program that looks for them.
MediaBoard::Camera::Camera() {
  make_files();
  service.answer_session();
}

MediaBoard::MediaBoard() {
  peer.keep_alive();
  let_pass(seconds(2));
}

void MediaBoard::ask(const Frame& frame) { application.send(encode(frame), kChannelPort); }

void MediaBoard::download(uint8_t kind, const std::string& name) {
  for (int i = 0; i < 20; i++) {
    const size_t from = application.count();
    ask(download_request(kind, name));
    const auto complete = [](const Arrival& arrival) { return arrival.holds(10, "TRANSCOMPLETE"); };
    if (application.wait_for(complete, seconds(60), from)) return;
  }
  std::printf("%s was never downloaded\n", name.c_str());
  std::exit(1);
}

}  // namespace bench
