#include "faults/rig.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "base/descriptor.h"
#include "storm/promises.h"
#include "system/photo_files.h"

namespace faults_test {

namespace {

using namespace support;  // NOLINT
namespace fs = std::filesystem;

// How long after a call was hit what was asked for may still come.
constexpr milliseconds kGrace{1100};

faults::Page* map_page(const std::string& path) {
  const base::Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  void* mapped = MAP_FAILED;
  if (file.open() && ftruncate(file.get(), sizeof(faults::Page)) == 0) {
    mapped = mmap(nullptr, sizeof(faults::Page), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  }
  if (mapped == MAP_FAILED) {
    std::perror("the page");
    std::exit(2);
  }
  return static_cast<faults::Page*>(mapped);
}

}  // namespace

Rig::Rig() : page_(map_page(folder_.path("page"))) {
  const std::string photo = folder_.path(kKeptPhoto);
  const std::string video = folder_.path(kKeptVideo);
  photo_files::make_photo(photo);
  media_channel::make_video(video, "15");
  kept_[kPictures + std::string(kKeptPhoto)] = read_file(photo);
  kept_[kVideos + std::string(kKeptVideo)] = read_file(video);
  kept_[kCard + "VBoardDataLog0.txt"] = "what an earlier flight has left\n";
}

Rig::~Rig() { stop(); }

void Rig::begin_board(const char* program) {
  board_.reset();
  used_ = false;
  faults::disarm(*page_);
  const Environment environment{
      {"LD_PRELOAD", preload_path(LIB_DIR "/libfaults.so", "/tmp/preload")},
      {faults::kPageVariable, folder_.path("page")}};
  board_ = std::make_unique<storm::Board>(storm::BoardOptions{program, environment});
  board_->kill_program();
  for (const auto& [path, content] : kept_) write_file(path, content);
}

std::string Rig::lost_file() const {
  for (const auto& [path, content] : kept_) {
    if (read_file(path) != content) return path + (file_exists(path) ? " changed" : " is gone");
  }
  return "";
}

void Rig::clear_pictures() {
  for (const std::string& name : list_folder(kPictures)) {
    if (name == kKeptPhoto) continue;
    board_->deleted.insert(storm::picture_of(kPictures + name));
    fs::remove(kPictures + name);
  }
}

void Rig::clear_videos() {
  for (const std::string& name : list_folder(kVideos)) {
    if (name == kKeptVideo) continue;
    board_->deleted.insert(name);
    fs::remove(kVideos + name);
  }
}

void Rig::start(bool silent_peer) {
  stop();
  renew_sockets(silent_peer);
  board_->start_program();
}

void Rig::stop() {
  faults::disarm(*page_);
  if (board_ != nullptr) board_->kill_program();
}

void Rig::renew_sockets(bool silent_peer) {
  board_->renew_sockets();
  if (!silent_peer) peer().keep_alive(0);
}

bool Rig::serves(milliseconds limit) {
  const size_t pieces = board_->video().count();
  const size_t mark = peer().mark();
  peer().keep_alive(2);
  Time asked{};
  const bool flows = waits(
      [&] {
        if (Clock::now() - asked > milliseconds(300)) {
          peer().send(stream_on(true));
          asked = Clock::now();
        }
        return board_->video().count() > pieces;
      },
      limit);
  const auto knows_the_card = [](const Frame& frame) {
    return frame.id == 76 && frame.system == 36 && frame.u16(28) == 2 && frame.f32(12) > 0;
  };
  const bool known = flows && hears(knows_the_card, mark, limit);
  note(known ? "serves" : flows ? "does not know the card" : "sends no live video");
  return known;
}

bool Rig::waits(const std::function<bool()>& condition, milliseconds limit) {
  const Time end = Clock::now() + limit * kSlowdown;
  Time give_up = end;
  for (Time now = Clock::now(); now < end && now < give_up; now = Clock::now()) {
    if (condition()) return true;
    if (give_up == end && struck()) give_up = now + kGrace;
    if (!runs()) return condition();
    std::this_thread::sleep_for(milliseconds(2));
  }
  return condition();
}

bool Rig::hears(const std::function<bool(const Frame&)>& wanted, size_t mark, milliseconds limit) {
  return waits(
      [&] {
        for (const Frame& frame : peer().frames(std::exchange(mark, peer().mark()))) {
          if (wanted(frame)) return true;
        }
        return false;
      },
      limit);
}

bool Rig::hears_ack(uint16_t command, uint8_t result, size_t mark) {
  std::optional<uint8_t> said;
  hears(
      [&](const Frame& frame) {
        if (frame.id == 77 && frame.u16(0) == command) said = frame.u8(2);
        return said.has_value();
      },
      mark);
  note("acknowledgement of " + std::to_string(command) + ": " +
       (said ? std::to_string(*said) : "none"));
  return said == result;
}

bool Rig::hears_report(float code, size_t mark) {
  const bool heard = hears(
      [code](const Frame& frame) {
        return frame.id == 76 && frame.system == 35 && frame.u16(28) == 2 && frame.u8(30) == 100 &&
               frame.f32(0) == code;
      },
      mark);
  note("report " + std::to_string(static_cast<int>(code)) + (heard ? " came" : " did not come"));
  return heard;
}

std::string Rig::last_events() const {
  constexpr size_t kMost = 3000;
  std::string all = board_->events();
  if (all.size() <= kMost) return all;
  return all.substr(all.find('\n', all.size() - kMost) + 1);
}

void Rig::note(const std::string& event) {
  if (std::getenv("FAULTS_VERBOSE") != nullptr) std::puts(event.c_str());
  board_->note(event);
}

}  // namespace faults_test
