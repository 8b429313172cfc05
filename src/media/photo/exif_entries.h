// Making entries of EXIF data. One thread at a time per data. The data own the entries that are
// returned. An entry that cannot be made (exhausted memory) ends the process by a failed assertion
// of the source name "exif", in every build.
#pragma once

#include <libexif/exif-data.h>

#include <cstdint>

namespace media {

// The entry of that tag in that IFD: the one that is there, or a new one with libexif's default
// format, components and data of the tag.
[[nodiscard]] ExifEntry* init_tag(ExifData* exif, ExifIfd ifd, ExifTag tag);

// A new entry of the GPS IFD with `size` zero bytes, as many components, and format UNDEFINED; the
// caller sets format and components. An entry of the tag with another size is removed first; one of
// the same size stays, in front of the new one.
[[nodiscard]] ExifEntry* create_tag(ExifData* exif, ExifTag tag, uint32_t size);

}  // namespace media
