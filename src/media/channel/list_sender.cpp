#include "media/channel/list_sender.h"

#include <array>
#include <cstring>
#include <new>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "media/card/store.h"
#include "media/channel/transfer_notices.h"

namespace media {
namespace {

constexpr uint8_t kComponentPhotos = 195;
constexpr uint64_t kRecordPauseUs = 10;

using FileName = std::array<char, kMediaNameSize>;

// Empty when the list is, or when memory is exhausted.
std::vector<FileName> copy_names(int32_t kind) {
  std::vector<FileName> names;
  const base::Lock lock(media_store.lock);
  const MediaListHead* head = media_list(kind);
  const int32_t count = media_list_count(head);
  if (count < 1) return names;
  try {
    names.reserve(static_cast<size_t>(count));
  } catch (const std::bad_alloc&) {
    return names;
  }
  for (const MediaFileNode* node = head->load(); node != nullptr; node = node->next) {
    std::memcpy(names.emplace_back().data(), node->name, kMediaNameSize);
  }
  return names;
}

}  // namespace

int32_t media_send_file_list(WorkItem* item, TransferContext* context) {
  flightlink::MavlinkMessage request;
  std::memcpy(&request, item->work.frame, sizeof(request));
  const int32_t kind = request.compid == kComponentPhotos ? MEDIA_PHOTO : MEDIA_VIDEO;
  if (media_rescan(&media_store) != 0) return -1;
  const std::vector<FileName> names = copy_names(kind);
  if (names.empty()) return -1;
  for (size_t i = 0; i < names.size(); i++) {
    if (transfer_interrupted(*item, *context)) return 0;
    transfer_send_list_record(kind, names.size(), i + 1, names[i].data());
    base::sleep_us(kRecordPauseUs);
  }
  return 0;
}

}  // namespace media
