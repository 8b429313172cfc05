#include "flightlink/firmware/push.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <utility>

#include "base/bytes.h"
#include "base/clock.h"
#include "base/descriptor.h"
#include "base/mutex.h"
#include "base/thread.h"
#include "flightlink/firmware/boards.h"
#include "flightlink/firmware/wire.h"

namespace flightlink {

FirmwarePush firmware_push{};

namespace {

constexpr uint64_t kChunkPauseUs = 500;
constexpr uint64_t kSilenceUs = 10000000;

struct Image {
  std::unique_ptr<uint8_t[]> records;
  uint32_t size = 0;
};

bool is_final(uint8_t state) { return state == kFirmwareFinished || state == kFirmwareAborted; }

// Each chunk behind its index. No records: the file cannot be read, or has no or too many bytes.
Image read_image(const char* path) {
  Image image;
  const base::File file(path != nullptr ? std::fopen(path, "rb") : nullptr);
  struct stat about {};
  if (file == nullptr || fstat(fileno(file.get()), &about) != 0 || !S_ISREG(about.st_mode) ||
      about.st_size < 1 || about.st_size > kFirmwareMaxSize) {
    return image;
  }
  const auto size = static_cast<uint32_t>(about.st_size);
  const uint32_t count = firmware_chunk_count(size);
  std::unique_ptr<uint8_t[]> records(new (std::nothrow) uint8_t[count * kChunkRecord]);
  if (records == nullptr) return image;
  uint32_t left = size;
  for (uint32_t i = 0; i < count; i++) {
    uint8_t* record = records.get() + i * kChunkRecord;
    const size_t wanted = std::min(size_t{left}, kChunkSize);
    store_chunk_index(record, i);
    if (std::fread(record + 4, 1, wanted, file.get()) != wanted) return image;
    left -= static_cast<uint32_t>(wanted);
  }
  image.records = std::move(records);
  image.size = size;
  return image;
}

uint8_t board_state() {
  const base::Lock lock(firmware_push.lock);
  return firmware_push.state;
}

bool board_answered() {
  const base::Lock lock(firmware_push.lock);
  return firmware_push.answered;
}

uint32_t image_size() {
  const base::Lock lock(firmware_push.lock);
  return firmware_push.size;
}

void send_md5(uint8_t type) {
  char md5[kMd5Characters + 1];
  {
    const base::Lock lock(firmware_push.lock);
    std::memcpy(md5, firmware_push.md5, sizeof(md5));
  }
  firmware_send(type, kOpcodeStart, {reinterpret_cast<const uint8_t*>(md5), std::strlen(md5)});
}

// Sends one chunk and pauses. Returns false when the image has no such chunk.
bool send_chunk(uint32_t index) {
  uint8_t record[kChunkRecord];
  size_t length = 0;
  uint8_t type = 0;
  {
    FirmwarePush& push = firmware_push;
    const base::Lock lock(push.lock);
    if (push.records == nullptr || index >= push.count) return false;
    const size_t before = size_t{index} * kChunkSize;
    length = 4 + std::min(kChunkSize, push.size - before);
    std::memcpy(record, push.records.get() + size_t{index} * kChunkRecord, length);
    type = push.type;
  }
  firmware_send(type, kOpcodeChunk, {record, length});
  base::sleep_us(kChunkPauseUs);
  return true;
}

// A request of the board whose chunks are on the way.
void note_request(FirmwarePush& push, const CommandLong& command) REQUIRES(push.lock) {
  push.chunk_requested = true;
  push.request_us = base::monotonic_us();
  for (const float slot : command.param) {
    if (slot >= 0 && base::saturate<uint32_t>(slot) == push.count - 1) push.last_requested = true;
  }
}

// Returns with the board's verdict, or when a board that could have the whole image is silent.
void wait_for_verdict() {
  FirmwarePush& push = firmware_push;
  const base::Lock lock(push.lock);
  while (!is_final(push.state)) {
    if (!push.last_requested) {
      push.reported.wait(push.lock);
      continue;
    }
    const uint64_t silent = base::monotonic_us() - push.request_us;
    if (silent >= kSilenceUs) return;
    push.reported.wait_for_us(push.lock, kSilenceUs - silent);
  }
}

// Returns when the push is over. The repeater gets every chunk unasked, and asks only for what was
// lost.
void push_to(uint8_t type, uint32_t size) {
  do {
    firmware_send_start(type, size);
    base::sleep_s(1);
  } while (!board_answered());
  if (type == kBoardRepeater) {
    for (uint32_t i = 0; !is_final(board_state()) && send_chunk(i); i++) {
    }
    while (!is_final(board_state())) {
      send_md5(type);
      base::sleep_s(1);
    }
    return;
  }
  wait_for_verdict();
}

}  // namespace

int firmware_image_prepare(uint8_t type) {
  FirmwarePush& push = firmware_push;
  const char* path = firmware_image_path(type);
  Image image = read_image(path);
  char md5[kMd5Characters + 1];
  if (image.records == nullptr || md5_of_file(path, md5, sizeof(md5)) != 0) return -1;
  const base::Lock lock(push.lock);
  push.records = std::move(image.records);
  push.size = image.size;
  push.count = firmware_chunk_count(image.size);
  std::memcpy(push.md5, md5, sizeof(md5));
  push.type = type;
  push.state = 0;
  push.answered = push.chunk_requested = push.last_requested = false;
  return 0;
}

int firmware_push_resume() {
  FirmwarePush& push = firmware_push;
  if (firmware_board_type() == kBoardCamera) return 0;
  {
    const base::Lock lock(push.lock);
    if (std::exchange(push.running, true)) return 0;
  }
  if (base::start_thread(FirmwarePushThread, nullptr) == 0) return 0;
  const base::Lock lock(push.lock);
  push.running = false;
  return -1;
}

int firmware_push_report(const CommandLong& command) {
  FirmwarePush& push = firmware_push;
  const uint8_t state = command.target_system;
  const bool requesting = state == kFirmwareRequesting;
  if (state != kFirmwareAnnounced && !requesting && !is_final(state)) return 0;
  uint8_t type = 0;
  bool wants_md5 = false;
  {
    const base::Lock lock(push.lock);
    if (push.records == nullptr || is_final(push.state)) return 0;
    if (state == kFirmwareAnnounced) push.answered = true;
    if (!push.answered && !requesting) return 0;
    push.state = state;
    if (push.answered && requesting) note_request(push, command);
    type = push.type;
    wants_md5 = state == kFirmwareAnnounced && type != kBoardRepeater && !push.chunk_requested;
  }
  push.reported.notify_all();
  if (wants_md5) send_md5(type);
  if (!requesting) return 0;
  for (const float slot : command.param) {
    // Not for NaN and negative numbers; an empty slot is above every count.
    if (slot >= 0) send_chunk(base::saturate<uint32_t>(slot));
  }
  return 0;
}

// SCHED_RR 2, inherited from the peer thread. Owns the push from the reading of the image to the
// board's verdict; shares the record under its lock. Ends with the push; the next one is started by
// a HEARTBEAT.
void* FirmwarePushThread(void*) {
  base::detach_self();
  FirmwarePush& push = firmware_push;
  const uint8_t type = firmware_board_type();
  if (firmware_image_prepare(type) == 0) {
    push_to(type, image_size());
  }
  // An image that cannot be read is given up like one that has been pushed: the next board follows.
  firmware_board_done(type);
  const base::Lock lock(push.lock);
  push.records.reset();
  push.running = false;
  return nullptr;
}

}  // namespace flightlink
