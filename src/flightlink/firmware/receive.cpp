#include "flightlink/firmware/receive.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/bytes.h"
#include "base/clock.h"
#include "base/descriptor.h"
#include "base/mutex.h"
#include "base/relaxed.h"
#include "base/shell.h"
#include "base/text.h"
#include "base/thread.h"
#include "camera/commands.h"
#include "flightlink/firmware/step_file.h"
#include "flightlink/firmware/wire.h"
#include "media/card/paced_writer.h"

namespace flightlink {

FirmwareReceive firmware_receive{};

namespace {

using base::kRelaxed;
constexpr size_t kBlocksPerWrite = 10;
constexpr uint64_t kReportPauseMs = 1;
constexpr uint64_t kRoundPauseMs = 200;

FirmwareBytes allocate(size_t size) {
  // Zeroed by the system, page by page as they are touched: a chunk that is shorter than it should
  // be leaves zeros, and a large announcement costs nothing yet.
  return FirmwareBytes(static_cast<uint8_t*>(std::calloc(size, 1)));
}

bool complete() { return firmware_receive.update_state.load(kRelaxed) > 2; }

FirmwareResult result() {
  return static_cast<FirmwareResult>(firmware_receive.result.load(kRelaxed));
}

uint8_t requester() {
  const base::Lock lock(firmware_receive.lock);
  return firmware_receive.requester;
}

FirmwareResult make_room(float announced) {
  FirmwareReceive& receive = firmware_receive;
  const auto size = base::saturate<int64_t>(announced);
  if (size < 1 || size > kFirmwareMaxSize) return kFirmwareFailed;
  const base::Lock lock(receive.lock);
  if (receive.in_progress.load(kRelaxed)) return kFirmwareBusy;
  const uint32_t count = firmware_chunk_count(static_cast<uint32_t>(size));
  receive.image.reset();
  receive.image = allocate((size_t{count} + 1) * kChunkSize);
  receive.marks = allocate(size_t{count} + 1);
  if (receive.image == nullptr || receive.marks == nullptr) {
    receive.image.reset();
    return kFirmwareFailed;
  }
  receive.size = static_cast<uint32_t>(size);
  receive.count = count;
  receive.received = 0;
  return kFirmwareOk;
}

// Finds up to seven missing chunks from `from` on and moves it behind the last one.
size_t find_missing(uint32_t* from, uint32_t (&missing)[kReportSlots]) {
  FirmwareReceive& receive = firmware_receive;
  const base::Lock lock(receive.lock);
  size_t found = 0;
  for (; *from < receive.count && found < kReportSlots; (*from)++) {
    if (receive.marks[*from] == 0) missing[found++] = *from;
  }
  return found;
}

// Asks for every missing chunk from `first` on, which becomes the first missing one. Returns false
// when none is missing.
bool request_round(uint32_t* first) {
  const uint8_t board = requester();
  uint32_t missing[kReportSlots];
  uint32_t from = *first;
  size_t found = find_missing(&from, missing);
  if (found == 0) return false;
  *first = missing[0];
  for (; found == kReportSlots; found = find_missing(&from, missing)) {
    firmware_report(kFirmwareRequesting, board, result(), missing);
    base::sleep_ms(kReportPauseMs);
  }
  if (found > 0) {
    firmware_report(kFirmwareRequesting, board, result(), {missing, found});
  }
  base::sleep_ms(kRoundPauseMs);
  return true;
}

// Takes the image away from the link threads: what still arrives is dropped, and changes no file.
FirmwareBytes take_image(uint32_t* size) {
  FirmwareReceive& receive = firmware_receive;
  const base::Lock lock(receive.lock);
  *size = receive.size;
  receive.marks.reset();
  return std::move(receive.image);
}

// Returns whether all of the image is in the file.
bool write_image() {
  uint32_t size = 0;
  const FirmwareBytes image = take_image(&size);
  const base::File file(std::fopen(kFirmwareFile, "wb"));
  if (file == nullptr) return false;
  return media::media_write_paced(image.get(), size, file.get(), kBlocksPerWrite) == size;
}

bool md5_is_good() {
  char md5[64];
  if (md5_of_file(kFirmwareFile, md5, sizeof(md5)) != 0) return false;
  const base::Lock lock(firmware_receive.lock);
  return std::strcmp(md5, firmware_receive.md5) == 0;
}

void move_into_place() {
  char command[100];
  base::format_text(command, "mv %s %s", kFirmwareFile, kFirmwareInPlace);
  base::run_shell(command);
  base::sleep_s(1);
  camera::cam_cmd_2817();
}

}  // namespace

int firmware_announced(float size, uint8_t board) {
  const FirmwareResult answer = make_room(size);
  firmware_report(kFirmwareAnnounced, board, answer);
  return answer == kFirmwareOk ? 0 : -1;
}

int firmware_start(std::span<const uint8_t> md5, uint8_t board) {
  FirmwareReceive& receive = firmware_receive;
  FirmwareResult refusal = kFirmwareOk;
  {
    const base::Lock lock(receive.lock);
    if (receive.in_progress.load(kRelaxed)) {
      refusal = kFirmwareBusy;
    } else if (receive.image == nullptr) {
      refusal = kFirmwareFailed;
    } else {
      const size_t length =
          strnlen(reinterpret_cast<const char*>(md5.data()), std::min(md5.size(), kMd5Characters));
      std::copy_n(md5.data(), length, receive.md5);
      receive.md5[length] = '\0';
      receive.requester = board;
      receive.in_progress.store(true, kRelaxed);
    }
  }
  if (refusal == kFirmwareOk) {
    if (base::start_thread(FirmwareReceiveThread, nullptr) == 0) return 0;
    receive.in_progress.store(false, kRelaxed);
    refusal = kFirmwareFailed;
  }
  firmware_report(kFirmwareFinished, board, complete() ? kFirmwareOk : refusal);
  return -1;
}

int firmware_chunk(uint8_t length, const uint8_t* data) {
  FirmwareReceive& receive = firmware_receive;
  const uint32_t index = load_chunk_index(data);
  const auto size = static_cast<size_t>(std::clamp(length - 4, 0, int{kChunkSize}));
  const base::Lock lock(receive.lock);
  if (receive.image == nullptr || index > receive.count || complete()) return 0;
  std::memcpy(receive.image.get() + size_t{index} * kChunkSize, data + 4, size);
  receive.marks[index] = 1;
  receive.received++;
  return 0;
}

// Scheduled as the link thread that starts it. Asks for chunks under the receive lock's protection,
// then owns the image alone; runs once and ends when the image is in place or has failed.
void* FirmwareReceiveThread(void*) {
  base::detach_self();
  fw_step_set(kStepTransfer);
  uint32_t first = 0;
  while (request_round(&first)) {
  }
  // A card that refuses the image ends the update silently.
  if (!write_image()) return nullptr;
  base::run_shell("sync");
  const FirmwareResult verdict = md5_is_good() ? kFirmwareOk : kFirmwareFailed;
  firmware_receive.result.store(verdict, kRelaxed);
  if (verdict == kFirmwareOk) {
    firmware_receive.update_state.store(kUpdateComplete, kRelaxed);
    fw_step_set(kStepReceived);
  }
  firmware_report(kFirmwareFinished, requester(), verdict);
  if (verdict == kFirmwareOk && firmware_receive.hold.load(kRelaxed) == 0) move_into_place();
  return nullptr;
}

}  // namespace flightlink
