// EXIF data (CIPA DC-008, in TIFF form) as the bytes of a photo's APP1 segment.
#pragma once

#include <libexif/exif-data.h>

#include <cstdint>

namespace media {

// Lets libexif serialise the data into a new block, to be freed with free(); null and 0 when that
// yields nothing. Entries of the GPS IFD with the same tag keep their order: libexif sorts by tag
// alone, and what a sort makes of equal tags is up to the C library. Any thread, one at a time per
// data.
void exif_block_save(ExifData* exif, uint8_t** bytes, uint32_t* size);

// The second half of it: gives the GPS IFD's entries with equal tags in the block the order that
// they have in `exif`. A block without a well-formed GPS IFD is left alone.
void exif_block_keep_order(const ExifData* exif, uint8_t* bytes, uint32_t size);

}  // namespace media
