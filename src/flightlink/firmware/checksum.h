// Checks of image files: the MD5 of one file, and the "cks" file that vouches for a set of them.
// Any thread may call; both wait for the md5sum program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace flightlink {

inline constexpr size_t kMd5Characters = 32;

// Runs md5sum on the file and puts what it says into `text` (at most size - 1 characters, without
// the newline). The path becomes part of a shell command: its names are letters, digits and . _ -
// only. Returns 0; -1 for another path, a file that cannot be read, or no room.
int32_t md5_of_file(const char* path, char* text, size_t size);

// 16-bit ones' complement sum of single bytes: added up, carries folded in twice, complemented.
[[nodiscard]] uint16_t firmware_checksum(std::span<const char> characters);

// Checks a set of files of which one is named "cks". The MD5 texts of all others, in the order of
// the list, have the checksum that is written in that file behind the two characters "99" as a
// decimal number. Returns 0 when it does; -1 when not, when there is no "cks", when a file cannot
// be read, and when the texts have more than 200 characters (seven files).
int32_t firmware_cks_check(std::span<const char* const> paths);

}  // namespace flightlink
