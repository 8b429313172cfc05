#include "media/card/store.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "base/mutex.h"
#include "base/text.h"

namespace media {

MediaStore media_store;

namespace {

MediaListHead lists[3];  // by kind minus one

// Deliberate, and on every rescan: a recording that small is a broken leftover, deleted unasked.
void purge_small_videos() {
  MediaListHead videos{nullptr};
  media_scan_dir(kVideoFolder, &videos);
  for (const MediaFileNode* node = videos.load(); node != nullptr; node = node->next) {
    // A size that cannot be read is all ones: the file stays.
    if (media_file_size(node->path) <= kSmallVideo) unlink(node->path);
  }
  media_list_free(&videos);
}

}  // namespace

MediaListHead* media_list(int32_t kind) {
  if (kind < MEDIA_PHOTO || kind > MEDIA_VIDEO) return nullptr;
  return &lists[kind - 1];
}

int32_t media_add_file(const char* name, const char* path, int32_t kind) {
  MediaListHead* head = media_list(kind);
  if (name == nullptr || path == nullptr || head == nullptr) return -1;
  return media_list_append(media_node_new(static_cast<uint16_t>(kind), name, path), head);
}

int32_t media_register_new_file(const char* name) {
  const int32_t kind = media_file_kind(name);
  if (kind == MEDIA_OTHER || !base::safe_name(name)) return -1;
  char path[kMediaPathSize];
  base::format_text(path, "%s/%s", kind == MEDIA_PHOTO ? kPhotoFolder : kVideoFolder, name);
  return media_add_file(name, path, kind);
}

int32_t media_lookup_path(const char* name, int32_t kind, char* out, size_t out_size) {
  if (out == nullptr || out_size == 0) return -1;
  const MediaFileNode* node = media_list_find(name, media_list(kind));
  if (node == nullptr) return -1;
  std::snprintf(out, std::min(out_size, kMediaPathSize), "%s", node->path);
  return 0;
}

int32_t media_delete_file(const char* name, int32_t kind) {
  return media_list_delete(name, media_list(kind)) == 0 ? 0 : -1;
}

void media_store_reset() {
  for (MediaListHead& head : lists) media_list_free(&head);
}

int32_t media_rescan(MediaStore* store) {
  if (store == nullptr || media_file_exists(kCardFolder) == 0) return -1;
  purge_small_videos();
  const base::Lock lock(store->lock);
  media_store_reset();
  media_scan_dir(kPhotoFolder, media_list(MEDIA_PHOTO));
  media_scan_dir(kThumbFolder, media_list(MEDIA_THUMB));
  media_scan_dir(kVideoFolder, media_list(MEDIA_VIDEO));
  return 0;
}

void media_detach_lists() {
  for (MediaListHead& head : lists) head.store(nullptr);
}

}  // namespace media
