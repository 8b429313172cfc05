// What a media file's name says, and the names that are made from it. Safe from any thread; no
// message is printed. Names here are not checked for bytes that matter in a path: who takes a name
// from outside runs base::safe_name first.
#pragma once

#include <cstddef>
#include <cstdint>

namespace media {

// Kinds of media files, also used to select a list of store.h.
enum : int32_t {
  MEDIA_PHOTO = 1,
  MEDIA_THUMB = 2,  // only passed in by callers: by its name a thumbnail is a photo
  MEDIA_VIDEO = 3,
  MEDIA_OTHER = 4,
};

// Sizes of the texts of a list node, terminators included. Longer ones are cut.
inline constexpr size_t kMediaPathSize = 200;
inline constexpr size_t kMediaNameSize = 50;

// The kind by substring anywhere in the name: "jpg", "JPG" or "JPEG" MEDIA_PHOTO; then "mp4" or
// "MP4" MEDIA_VIDEO; everything else, and null, MEDIA_OTHER. "a.jpg.txt" is a photo.
[[nodiscard]] int32_t media_file_kind(const char* name);

// Turns a media name or path into its thumbnail's, in place: X.MP4 becomes X_v.JPG, X.JPG becomes
// X_p.JPG, cut to `size` bytes with the terminator. Returns 0; -1 with the name unchanged when it
// is null, not terminated within `size`, without a "." or of kind MEDIA_OTHER.
int32_t media_thumb_name(char* name, size_t size);

// What was asked for with a photo.
struct PhotoMark {
  int32_t mode;      // 0: the photo keeps its name
  int32_t sequence;  // number in its name
};

// The name of a new photo, from the camera's name for it: the first 15 characters (date and time),
// "_", the mode's letters (1 "PR", 2 "PW", 3 "PV", others "PH"), the number with two digits at
// least, ".JPG"; cut to `size` bytes. Returns 1; 0 with `to` unchanged when the mode is 0, a text
// is null or the size is 0.
int32_t media_photo_name(const char* name, const PhotoMark& mark, char* to, size_t size);

}  // namespace media
