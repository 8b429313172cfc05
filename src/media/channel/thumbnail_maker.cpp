#include "media/channel/thumbnail_maker.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/shell.h"
#include "base/text.h"
#include "media/card/store.h"
#include "media/channel/transfer_notices.h"
#include "media/movie/thumbnail.h"
#include "media/photo/exif.h"

namespace media {
namespace {

constexpr uint64_t kMovedPauseUs = 5000;
constexpr uint64_t kErrorPauseUs = 500000;
// Exactly this, whatever the umask: the group reads, nobody writes from outside.
constexpr mode_t kThumbFolderMode = 0070;

void make_thumb_folder() {
  if (media_file_exists(kThumbFolder) == 1) return;
  if (mkdir(kThumbFolder, kThumbFolderMode) == 0) (void)chmod(kThumbFolder, kThumbFolderMode);
}

// The name of the thumbnail of that photo or video. False when it cannot have one: the name has no
// dot or would not be safe in a shell command, or the thumbnail's own is longer than a list's
// names, so that it would never be found again.
bool name_thumbnail(const char* name, char (&thumbnail)[kMediaNameSize + 8]) {
  base::format_text(thumbnail, "%s", name);
  return base::safe_name(name) && media_thumb_name(thumbnail, sizeof(thumbnail)) == 0 &&
         std::strlen(thumbnail) < kMediaNameSize;
}

bool is_too_small(const char* path) { return media_file_size(path) <= kSmallVideo; }

// Whether the temporary file holds a new thumbnail.
bool make_temporary(const char* from, int32_t kind, const char* temporary) {
  (void)std::remove(temporary);
  const int32_t made = kind == MEDIA_VIDEO
                           ? video_thumbnail(from, temporary, kThumbnailWidth, kThumbnailHeight)
                           : exif_extract_thumbnail(from, temporary);
  return made >= 0 && media_file_exists(temporary) == 1;
}

// Whether the temporary file has become the thumbnail. A card that is full leaves neither.
bool move_to_card(const char* temporary, const char* path) {
  char command[500];
  base::format_text(command, "mv %s %s", temporary, path);
  if (base::run_shell(command) == 0) return true;
  (void)std::remove(path);
  return false;
}

// A second request may have come before the first one was carried out.
void list_thumbnail(const char* thumbnail, const char* path) {
  const base::Lock lock(media_store.lock);
  if (media_list_find(thumbnail, media_list(MEDIA_THUMB)) != nullptr) return;
  (void)media_add_file(thumbnail, path, MEDIA_THUMB);
}

}  // namespace

int32_t thumbnail_maker(WorkItem* item, TransferContext* /*context*/) {
  const char* name = item->work.name;
  char thumbnail[kMediaNameSize + 8];
  const bool named = name_thumbnail(name, thumbnail);
  if (named) make_thumb_folder();
  char path[kMediaPathSize];
  base::format_text(path, "%s/%s", kThumbFolder, thumbnail);
  const int32_t kind = media_file_kind(name);
  char from[kMediaPathSize];
  {
    const base::Lock lock(media_store.lock);
    if (media_lookup_path(name, kind, from, sizeof(from)) != 0) return -1;
  }
  if (!named || (kind == MEDIA_VIDEO && is_too_small(from))) {
    transfer_notify_thumb_error(name);
    return -1;
  }

  char temporary[100];
  base::format_text(temporary, "/tmp/%s", thumbnail);
  if (make_temporary(from, kind, temporary) && move_to_card(temporary, path)) {
    base::sleep_us(kMovedPauseUs);
    list_thumbnail(thumbnail, path);
    transfer_notify_thumb_ready(name);
    return 0;
  }
  (void)std::remove(temporary);
  transfer_notify_thumb_error(name);
  base::sleep_us(kErrorPauseUs);
  return -1;
}

}  // namespace media
