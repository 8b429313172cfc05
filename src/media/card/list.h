// A singly linked list of media files, and how a folder is scanned into one.
//
// A head is an atomic pointer only so that a signal handler may detach the list (store.h);
// that aside, a list is used by one thread at a time, and the lists of the media store under its
// lock. A list owns its nodes. -1 stands for refusal; nothing is printed.
#pragma once

#include <atomic>
#include <cstdint>

#include "media/card/names.h"

namespace media {

struct MediaFileNode {
  uint16_t type;              // by a scan: directory entry type (8, regular file); else the kind
  char path[kMediaPathSize];  // folder, slash, name; terminated, cut to 199 characters
  char name[kMediaNameSize];  // terminated, cut to 49 characters
  MediaFileNode* next;
};

using MediaListHead = std::atomic<MediaFileNode*>;
static_assert(MediaListHead::is_always_lock_free);

// 1 when something exists at the path, else 0.
[[nodiscard]] int32_t media_file_exists(const char* path);

// Bytes of the file; all ones when it cannot be examined.
[[nodiscard]] uint64_t media_file_size(const char* path);

// Scans a folder into an empty list, in directory order: the regular files whose names do not
// contain "AA.MP4" (that marks an unfinished file). The list keeps what was read when memory runs
// out. Returns the last node; null when there is none, when the folder cannot be opened or when the
// list is not empty (it is then left as it was).
MediaFileNode* media_scan_dir(const char* folder, MediaListHead* head);

// The first node with exactly that name, which the list still owns; null when there is none.
[[nodiscard]] MediaFileNode* media_list_find(const char* name, const MediaListHead* head);

// A node from the heap, zero-filled but for the texts; null when memory is exhausted. The caller
// owns it until it is appended.
[[nodiscard]] MediaFileNode* media_node_new(uint16_t type, const char* name, const char* path);

// Puts the node, which the list owns from then on, at the end. Returns 0; -1 for a null argument.
int32_t media_list_append(MediaFileNode* node, MediaListHead* head);

// Takes the first node of that name out of the list and frees it; the file stays. Returns 0, also
// when no node has the name; -1 for a null name or an empty list.
int32_t media_list_unlink(const char* name, MediaListHead* head);

// Removes the file of the first node with that name and then the node. Returns 0, also when no node
// has the name; -1 for a null name, an empty list, or a file that cannot be removed (its node
// stays).
int32_t media_list_delete(const char* name, MediaListHead* head);

// Frees every node. Returns 0; -1 when the list was empty already.
int32_t media_list_free(MediaListHead* head);

// Number of nodes; -1 for an empty list.
[[nodiscard]] int32_t media_list_count(const MediaListHead* head);

}  // namespace media
