// From a time to a sample of the video track, and from a sample to its place in the file.
#pragma once

#include <cstdint>

namespace media {

struct MovIndex;

// The number of the key frame nearest to that time, of two equally near ones the earlier; counted
// as in the `stss` table, that is from 1. Only whole seconds count, and 0 is returned for what
// comes to sample 0. Only the first `stts` entry is used: behind its end the time is taken as the
// number of a sample. Without an `stss` table every sample is a key frame. Prints its steps.
[[nodiscard]] uint32_t mov_time_to_keyframe(uint32_t milliseconds, const MovIndex* index);

// The file offset of a sample, counted from 0: mov_time_to_keyframe's result less 1. Samples beyond
// the tables have an offset as well, from the last entries. 0 when there are no chunk offsets or no
// sample sizes, or a run has 0 samples per chunk.
[[nodiscard]] uint64_t mov_sample_offset(uint32_t sample, const MovIndex* index);

}  // namespace media
