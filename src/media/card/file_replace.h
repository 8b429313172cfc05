// Writing a file of the card so that a failure never costs the file that was there.
#pragma once

#include <cstddef>
#include <cstdint>

namespace media {

// Makes `path` a file with exactly these bytes: they go to a temporary file in the same folder with
// the paced writer, reach the disk, and only then take the place of what was there. The temporary
// name contains "AA.MP4", as every unfinished file's, so no folder scan lists it. Returns 0; -1,
// with the old file untouched and the temporary one removed, when the arguments are null or the
// path is too long, names something that is not a regular file, or cannot be written to the end
// (card full, read-only, gone). Any thread may call; one file is written at a time.
[[nodiscard]] int32_t media_replace_file(const char* path, const void* bytes, size_t size);

}  // namespace media
