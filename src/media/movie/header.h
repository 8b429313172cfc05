// The top level of an MP4 or QuickTime file: where its parts lie.
#pragma once

#include <cstdint>
#include <cstdio>

namespace media {

// Above these an atom is refused: `ftyp` as too big, `moov` as if there were no memory for it. The
// tables of a 4 GB recording are below 1 MiB.
inline constexpr uint64_t kMovLargestFtyp = 1048576;
inline constexpr uint64_t kMovLargestMoov = 67108864;
// More atoms than this make no recording.
inline constexpr int kMovMostTopAtoms = 65536;

// Sizes and offsets are those of whole atoms, headers included, and 0 for an atom that the file
// lacks. Of a type that occurs more than once the last one counts.
struct MovHeader {
  uint64_t ftyp_size;
  uint64_t ftyp_offset;
  uint8_t* ftyp_data;  // a copy of the whole atom
  uint64_t moov_size;
  uint64_t moov_offset;
  uint8_t* moov_data;  // a copy of the whole atom
  uint64_t mdat_size;  // as the file says: the file may be shorter
  uint64_t mdat_offset;
};

// Reads the top level of the file from its position, which has to be its start, into the record,
// which has to be zero-filled or from an earlier call. One line is printed per atom. Returns 0 when
// the end of the file was reached, and sets its position to 0; -1 at any error, the record then
// holds what was read before. The copies are the caller's either way: mov_header_free.
int32_t mov_get_header_atom(std::FILE* file, MovHeader* header);

// Frees the copies and zeroes the record.
void mov_header_free(MovHeader* header);

}  // namespace media
