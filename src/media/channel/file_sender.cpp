#include "media/channel/file_sender.h"

#include <cstdio>

#include "base/clock.h"
#include "base/descriptor.h"
#include "media/card/list.h"
#include "media/channel/transfer_notices.h"
#include "media/movie/duration.h"

namespace media {
namespace {

constexpr uint64_t kRetryUs = 1000;

// Whether the offset lies at or behind the end. File systems differ in how far behind it one may
// seek and read.
bool is_behind_end(const TransferWork& work) {
  return work.offset != 0 && static_cast<uint64_t>(work.offset) >= media_file_size(work.path);
}

// Opened at the offset, without a buffer of its own: chunks are read straight into datagrams.
base::File open_at(const TransferWork& work, bool behind_end) {
  base::File file(std::fopen(work.path, "rbe"));
  if (file == nullptr) return nullptr;
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  const bool seek = work.offset != 0 && !behind_end;
  if (seek && fseeko(file.get(), work.offset, SEEK_SET) != 0) return nullptr;
  return file;
}

}  // namespace

int32_t file_sender(WorkItem* item, TransferContext* context) {
  const TransferWork& work = item->work;
  const bool behind_end = is_behind_end(work);
  const base::File file = open_at(work, behind_end);
  if (file == nullptr) return -1;
  char seconds[32] = "";
  if (work.kind == MEDIA_VIDEO) (void)media_video_duration(work.path, seconds, sizeof(seconds));

  uint8_t datagram[kTransferDatagram];
  datagram[0] = kChannelFile;
  size_t held = 0;  // bytes of the chunk that has been read and not yet sent
  bool data_sent = false;
  for (;;) {
    if (transfer_interrupted(*item, *context)) {
      transfer_notify_cancelled(work.name);
      return 0;
    }
    // Repeated until it goes out, and again after a first chunk that did not: an application that
    // sees data has seen the start.
    if (!data_sent && transfer_notify_start(work.name, work.kind, seconds) < 1) {
      base::sleep_us(kRetryUs);
      continue;
    }
    if (held == 0 && !behind_end) held = std::fread(datagram + 1, 1, kTransferChunk, file.get());
    if (held == 0) break;
    if (transfer_send(datagram, 1 + held) > 0) {
      data_sent = true;
      held = 0;
    } else {
      base::sleep_us(kRetryUs);
    }
  }
  if (std::ferror(file.get()) != 0) return -1;
  transfer_notify_complete(work.name);
  return 0;
}

}  // namespace media
