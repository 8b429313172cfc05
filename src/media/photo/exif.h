// Photo tagging: every new photo is rewritten once with the product's texts, its time and the
// aircraft's position in its EXIF block (CIPA DC-008), possibly under a new name, and the thumbnail
// that the camera embedded becomes a file of its own in the thumbnail folder. The picture itself is
// not touched.
//
// A photo that was there is never lost: a photo without an EXIF block stays as it is, and a card
// that is full, read-only or gone, or a photo that cannot be parsed up to its picture, costs the
// tagging only.
//
// The operations run on their callers' threads and block while they write (a few hundred
// milliseconds for a large photo). All of them may run at the same time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "media/photo/exif_gps.h"
#include "media/photo/exif_text.h"

namespace media {

struct ExifTagRequest {
  char name[120];    // the photo's file name, terminated
  char fields[120];  // "time:...;gps_lon:...;gps_lat:...;gps_alt:...", terminated
};

// 1 while a photo is being tagged, else 0; a relaxed atomic. Others then leave the photo folder
// alone.
[[nodiscard]] int32_t get_tagging_busy();

// Rewrites the photo `source` as `destination`, which may be the same path. `time` is the EXIF time
// for the three time tags, null for leaving them alone. The thumbnail goes to `thumbnail`; null, a
// photo without one, or a file that cannot be written is skipped silently. Returns 0, also when the
// destination could not be written (it is then what it was); -1 for a null source or destination;
// 2, with "Out of memory" on standard error and nothing written, when the source has no EXIF data.
int32_t exif_write_photo(const char* source, const char* destination, const char* thumbnail,
                         const char* time, const GpsPosition& position);

// Tags a photo of the photo folder in place with the time and position of the request's fields
// (decimal numbers in the units of GpsPosition). A missing position field takes the value before
// it: latitude that of longitude, altitude that of latitude, longitude 0. Without a time the time
// tags become zero bytes. Returns 0, whatever became of the photo; -1 for null or a name that
// base::safe_name refuses or that is not a photo's.
int32_t exif_tag_photo(const ExifTagRequest* request);

// Tags a new photo of the photo folder. Its time comes from its name (exif_time_from_name, else
// zero bytes), its new name from media_photo_name with the photo mode and number of the activity
// flags (supervisor/state/camera_flags.h); the old file goes once the new one is complete on disk.
// With photo mode 0 it is rewritten in place. Returns 0, whatever became of the photo; -1
// for a name that is null, that base::safe_name refuses or that is not a photo's.
int32_t exif_tag_and_rename_photo(const char* name, int32_t longitude, int32_t latitude,
                                  int32_t altitude);

// Writes the thumbnail that is embedded in the photo to `output`. Returns the number of bytes
// written; -1 when a path is null, the photo has no EXIF data ("Out of memory" on standard error),
// these hold no thumbnail, or the output cannot be opened.
int32_t exif_extract_thumbnail(const char* photo, const char* output);

}  // namespace media
