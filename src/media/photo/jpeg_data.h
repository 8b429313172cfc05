// A JPEG file (ITU-T T.81) in memory as a list of marker segments, so that a photo's EXIF block can
// be replaced without touching its picture. APP1 is held as libexif data, the entropy-coded data
// behind SOS as one block, everything else as raw payload.
//
// Messages go to the libexif log of the container, domain "jpeg-data"; without a log they go
// nowhere. A file is hostile until parsed: no length is trusted. One thread per container. Null
// containers are ignored, or give null or -1.
#pragma once

#include <libexif/exif-data.h>
#include <libexif/exif-log.h>

#include <cstdint>
#include <memory>

#include "media/photo/jpeg_segments.h"

namespace media {

// An empty container; null when memory is exhausted. To be freed with jpeg_data_free.
[[nodiscard]] JpegData* jpeg_data_new();
// A new container with what could be loaded, possibly nothing; null when memory is exhausted.
[[nodiscard]] JpegData* jpeg_data_new_from_file(const char* path);
[[nodiscard]] JpegData* jpeg_data_new_from_data(const uint8_t* bytes, uint32_t size);

// Frees the container and everything in it.
void jpeg_data_free(JpegData* data);

// Makes the container log to `log`, of which it takes a reference; null ends the logging.
void jpeg_data_set_log(JpegData* data, ExifLog* log);

// Loads a regular file. Logs "Path '%s' invalid.", "Could not allocate %lu byte(s)." or
// "Could not read '%s'." and loads nothing when it fails.
void jpeg_data_load_file(JpegData* data, const char* path);

// Appends the segments of the bytes, which stay the caller's. Stops at what is not JPEG with
// "Data does not follow JPEG specification.", and silently at a segment that runs past the end;
// what was parsed before stays. The 0xFF before a marker is optional, up to 7 are skipped. Scan
// data reaches to the end of the bytes, or to the 0xFF that is two bytes before it.
void jpeg_data_load_data(JpegData* data, const uint8_t* bytes, uint32_t size);

// Whether the container holds all of the picture of what it was loaded from: false after a parse that
// stopped before the scan data or, where these have no closing marker, behind them, and once memory
// was exhausted.
[[nodiscard]] bool jpeg_data_is_whole(const JpegData* data);

// Serialises into a new block, which the caller frees with free(). An APP1 segment for which
// libexif gives nothing is written as its two marker bytes alone. Returns 0; -1 with *bytes null
// when there is nothing to write, memory is exhausted, or EXIF data have more than kJpegLargestExif
// bytes (*size then says how far it came).
[[nodiscard]] int32_t jpeg_data_save_data(const JpegData* data, uint8_t** bytes, uint32_t* size);

// Serialises and puts the result in the place of the file (media_replace_file). Returns 0; -1 when
// there is nothing to write, libexif gives nothing for EXIF data (it has no memory) or it cannot be
// written to the end; the file is then what it was.
int32_t jpeg_data_save_file(const JpegData* data, const char* path);

// The EXIF data of the first APP1 segment with a new reference, to be dropped with exif_data_unref;
// null when there are none.
[[nodiscard]] ExifData* jpeg_data_get_exif_data(const JpegData* data);

// Puts the EXIF data, of which it takes a reference, into the first APP1 segment, or into a new one
// behind the first segment. In an empty container only a segment with marker 0 appears.
void jpeg_data_set_exif_data(JpegData* data, ExifData* exif);

struct JpegDataFree {
  void operator()(JpegData* data) const { jpeg_data_free(data); }
};
using JpegDataOwner = std::unique_ptr<JpegData, JpegDataFree>;

struct ExifDataUnref {
  void operator()(ExifData* exif) const { exif_data_unref(exif); }
};
using ExifDataOwner = std::unique_ptr<ExifData, ExifDataUnref>;

}  // namespace media
