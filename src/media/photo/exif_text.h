// The texts that photo tagging takes apart. Safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace media {

// "YYYY:MM:DD HH:MM:SS" and its terminator.
inline constexpr size_t kExifTimeSize = 20;

// Copies the value of "key:value;key:value" text that follows the first occurrence of `key` and one
// more character, up to the next ";" or the end, at most limit - 1 characters, terminated. The
// search is plain: "time" is also found inside a longer key. Returns 0, with `to` untouched when
// the key is absent; -1 for a null argument or a limit of 0.
int32_t exif_get_field(const char* text, char* to, size_t limit, const char* key);

// Makes the EXIF time "2020:01:01 12:00:00" from a camera file name "20200101_120000AB.JPG", by
// position. Returns 0; -1 with `to` untouched when an argument is null, the name has 16 characters
// or fewer, or `size` is below kExifTimeSize.
int32_t exif_time_from_name(const char* name, size_t name_length, char* to, size_t size);

}  // namespace media
