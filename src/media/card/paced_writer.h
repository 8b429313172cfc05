// The paced file writer. Its pauses keep the SD card from being flooded while the camera records.
#pragma once

#include <cstddef>
#include <cstdio>

namespace media {

inline constexpr size_t kPacedBlock = 32768;  // bytes
inline constexpr size_t kPacedBlocks = 20;    // whole blocks per write call
inline constexpr unsigned kPacedPauseUs = 6000;

// Writes the whole blocks of the buffer, up to 20 (or as many as asked for, at least 1) per call,
// with a flush and a pause of 6 ms after every call, then the rest below one block in one call with
// a flush and no pause. Stops at the first call that fails. Returns the number of bytes that have
// left for the file: less than `size` only after a failure, 0 for a null argument. The stream stays
// open and belongs to the caller, alone.
size_t media_write_paced(const void* buffer, size_t size, std::FILE* file,
                         size_t blocks_per_call = kPacedBlocks);

}  // namespace media
