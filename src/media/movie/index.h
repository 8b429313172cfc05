// What playback needs to know about a recording: per track the sample tables, the time scale and
// the H.264 parameter sets, taken from the `moov` atom without a demuxing library.
//
//   MovHeader header{};
//   MovIndex* index = nullptr;
//   mov_get_header_atom(file, &header);
//   mov_index_new(&index);
//   mov_walk_atoms(header.moov_data, header.moov_size, mov_atom_handler, index);
//
// The tables stay inside `moov_data`, so the header record has to live as long as the index is
// used. Bounds are settled when an atom is recorded: no count is larger than what its payload
// holds. One thread per index.
#pragma once

#include <cstdint>
#include <memory>

#include "media/movie/atoms.h"
#include "media/movie/description.h"

namespace media {

inline constexpr uint32_t kMovTracks = 5;
inline constexpr uint32_t kMovDepthLimit = 21;

// What every recorded atom begins with. All zero as long as there is no such atom.
struct MovAtomStart {
  uint64_t size;  // of the payload
  uint8_t version;
  uint32_t flags;
};

// Times and the duration have 32 bits: the layout of version 0, whatever the version says.
struct MovTkhd {
  MovAtomStart atom;
  uint32_t creation_time;
  uint32_t modification_time;
  uint32_t track_id;
  uint32_t duration;
  uint16_t layer;
  uint16_t alternate_group;
  uint16_t volume;
  uint8_t matrix[36];
  uint32_t width;  // 16.16 fixed point
  uint32_t height;
};

struct MovMdhd {
  MovAtomStart atom;
  uint32_t creation_time;
  uint32_t modification_time;
  uint32_t time_scale;  // units per second
  uint32_t duration;
  uint8_t language[2];
};

struct MovStsd {
  MovAtomStart atom;
  uint32_t count;                     // 0 or 1
  MovSampleDescription* description;  // null when there is none
};

// Entries are big-endian, in the file's own layout.
struct MovTable {
  MovAtomStart atom;
  uint32_t count;
  const uint8_t* entries;
};

struct MovStsz {
  MovAtomStart atom;
  uint32_t sample_size;  // of all samples; 0 when each has its own
  uint32_t count;        // of the entries
  const uint8_t* entries;
};

struct MovTrack {
  MovTkhd tkhd;
  MovMdhd mdhd;
  MovStsd stsd;
  MovTable stts;  // (count, delta)
  MovTable stsc;  // (first chunk, samples per chunk, description)
  MovTable stco;  // (offset)
  MovTable stss;  // (sample number, counted from 1)
  MovStsz stsz;   // (size)
};

struct MovIndex {
  uint32_t depth;        // of the walk
  uint32_t track_count;  // never more than kMovTracks
  uint32_t video_track;  // the last track that has a width and a height; 0 when none has
  MovTrack tracks[kMovTracks];
};

// Makes a zero-filled index. Returns 0; -1 with *index null when memory is exhausted.
int32_t mov_index_new(MovIndex** index);

// The handler for mov_walk_atoms that fills the index. Returns 0; -1 for a table before the first
// `trak`, a sixth `trak`, an atom that is too short for its fixed fields, exhausted memory, and
// containers that are too deep ("atoms too deeply nested :%u\n") or whose walk failed.
//
// An atom of an unknown type counts as a container; `co64` is one of them, and what it holds reads
// as an atom of size 0, which ends its walk ("process co64 failed\n"). A recording with 64-bit
// chunk offsets therefore has no chunks here, and every sample has the offset 0 (seek.h). What
// is played of it are its parameter sets and one frame that is none: a start code and the bytes
// behind the file's first four, as many as these four say, which is the rest of `ftyp` and four
// bytes more.
int32_t mov_atom_handler(MovIndex* index, const MovAtom* atom);

// The video track; one of zeros as long as there is no track.
[[nodiscard]] inline const MovTrack* mov_video_track(const MovIndex* index) {
  return &index->tracks[index->video_track];
}

// Frees the descriptions and the index, not the header record.
void mov_index_free(MovIndex* index);

struct MovIndexFree {
  void operator()(MovIndex* index) const { mov_index_free(index); }
};
using MovIndexOwner = std::unique_ptr<MovIndex, MovIndexFree>;

}  // namespace media
