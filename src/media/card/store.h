// The media store: one list per media folder of the SD card, rebuilt from disk by a rescan.
//
// Folders, which the camera service creates: PIC photos (.JPG), THUMB thumbnails, VIDEO videos
// (.MP4), below /tmp/SD0/KRVMEDIA. The lists are empty until the first rescan. The lists are
// guarded by the store's lock. Only the rescan takes it; around the other operations the caller
// holds it where two threads can meet. -1 stands for refusal; nothing is printed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/mutex.h"
#include "media/card/list.h"
#include "media/card/names.h"

namespace media {

inline constexpr const char kCardFolder[] = "/tmp/SD0";
inline constexpr const char kPhotoFolder[] = "/tmp/SD0/KRVMEDIA/PIC";
inline constexpr const char kThumbFolder[] = "/tmp/SD0/KRVMEDIA/THUMB";
inline constexpr const char kVideoFolder[] = "/tmp/SD0/KRVMEDIA/VIDEO";
// A video of that many bytes or fewer is a broken leftover.
inline constexpr uint64_t kSmallVideo = 1048576;

struct MediaStore {
  base::Mutex lock;  // the media lock
};

// The one instance.
extern MediaStore media_store;

// The list of a kind: MEDIA_PHOTO, MEDIA_THUMB or MEDIA_VIDEO; null for any other.
[[nodiscard]] MediaListHead* media_list(int32_t kind);

// Appends a node to the list of that kind. Returns 0; -1 when an argument is null, the kind has no
// list or memory is exhausted.
int32_t media_add_file(const char* name, const char* path, int32_t kind);

// Adds a photo or video that has just appeared in its folder. The name comes from outside: one that
// base::safe_name refuses gives -1, as does a name that is neither a photo's nor a video's.
int32_t media_register_new_file(const char* name);

// Copies the path of the file with that name and kind, at most min(out_size, 200) bytes with the
// terminator. Returns 0; -1 for a null or empty argument, a kind without a list, or an unknown
// name.
int32_t media_lookup_path(const char* name, int32_t kind, char* out, size_t out_size);

// Removes the file of that name from disk and list. Returns 0, also when the list does not know the
// name; -1 when the list is empty, the kind has none, or the file cannot be removed.
int32_t media_delete_file(const char* name, int32_t kind);

// Frees every node of the three lists. The caller holds the lock, or no thread runs, as in tests.
void media_store_reset();

// Rebuilds the three lists from disk, after deleting every video of kSmallVideo bytes or fewer but
// the unfinished ones. Takes the store's lock. Returns 0; -1 with nothing changed when the card's
// folder does not exist or the store is null.
int32_t media_rescan(MediaStore* store);

// Empties the three lists without freeing their nodes. For the exit handler: async-signal-safe,
// takes no lock, and a thread that is walking a list walks on safely.
void media_detach_lists();

}  // namespace media
