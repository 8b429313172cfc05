#include "media/movie/seek.h"

#include <algorithm>
#include <cstdio>

#include "media/movie/index.h"

namespace media {
namespace {

uint32_t word(const uint8_t* entries, uint64_t place) { return mov_load_u32(entries + 4 * place); }

uint32_t saturate(uint64_t value) {
  return static_cast<uint32_t>(std::min<uint64_t>(value, UINT32_MAX));
}

// Where `target`, in units of the time scale, is by the first entry of the table.
uint32_t sample_at(uint64_t target, const MovTable& stts) {
  const uint32_t count = stts.count > 0 ? word(stts.entries, 0) : 0;
  const uint32_t delta = stts.count > 0 ? word(stts.entries, 1) : 0;
  const uint64_t total = uint64_t{count} * delta;
  // Behind the end it is deliberately the total itself, whatever it means as a sample number.
  const uint32_t sample =
      target < total ? static_cast<uint32_t>(count - (total - target) / delta) : saturate(total);
  std::printf("stts sample %5u in table[%d] count %10u dur %u\n", sample, 0, saturate(total),
              delta);
  return sample;
}

// The entry of the sorted table that is nearest to the sample, which is not 0.
uint32_t nearest_key_frame(uint32_t sample, const MovTable& stss) {
  if (stss.count == 0) return sample;
  int64_t above = 0;
  int64_t below = int64_t{stss.count} - 1;
  while (above <= below) {
    const int64_t middle = (above + below) / 2;
    const uint32_t entry = word(stss.entries, static_cast<uint64_t>(middle));
    if (entry == sample) return sample;
    if (entry < sample) {
      above = middle + 1;
    } else {
      below = middle - 1;
    }
  }
  uint32_t chosen = 0;
  if (below < 0) {
    chosen = word(stss.entries, 0);
  } else {
    chosen = word(stss.entries, static_cast<uint64_t>(below));
    if (above < int64_t{stss.count}) {
      const uint32_t next = word(stss.entries, static_cast<uint64_t>(above));
      if (next - sample < sample - chosen) chosen = next;
    }
  }
  std::printf("stss get sample %5u\n", chosen);
  return chosen;
}

struct Place {
  uint64_t chunk;  // counted from 1; 0 when there is none
  uint64_t index;  // within the chunk
};

struct Run {
  uint64_t first_chunk;
  uint64_t samples_per_chunk;
};

Run run_at(const MovTable& stsc, uint32_t place) {
  return {word(stsc.entries, uint64_t{place} * 3), word(stsc.entries, uint64_t{place} * 3 + 1)};
}

Place place_in(const Run& run, uint64_t sample) {
  if (run.samples_per_chunk == 0) return {0, 0};
  return {sample / run.samples_per_chunk + run.first_chunk, sample % run.samples_per_chunk};
}

// A run that ends before it begins holds nothing.
uint64_t samples_between(const Run& run, const Run& next) {
  if (next.first_chunk <= run.first_chunk) return 0;
  return (next.first_chunk - run.first_chunk) * run.samples_per_chunk;
}

Place find_chunk(uint32_t sample, const MovTable& stsc) {
  if (stsc.count == 0) return {0, 0};
  uint64_t remaining = sample;
  Run run = run_at(stsc, 0);
  for (uint32_t i = 1; i < stsc.count; i++) {
    const Run next = run_at(stsc, i);
    const uint64_t samples = samples_between(run, next);
    if (samples >= remaining) break;
    remaining -= samples;
    run = next;
  }
  return place_in(run, remaining);
}

uint64_t chunk_offset(uint64_t chunk, const MovTable& stco) {
  if (chunk == 0) return 0;
  return word(stco.entries, std::min<uint64_t>(chunk, stco.count) - 1);
}

// Sizes of the samples from `first` on up to `end`, which is not one of them. Behind the table
// every sample has the size of the last entry; they are not added one by one.
uint64_t sum_of_sizes(uint64_t first, uint64_t end, const MovStsz& stsz) {
  const uint64_t known = std::min<uint64_t>(end, stsz.count);
  uint64_t sum = 0;
  for (uint64_t i = first; i < known; i++) sum += word(stsz.entries, i);
  const uint64_t behind = end - std::clamp<uint64_t>(stsz.count, first, end);
  return sum + behind * word(stsz.entries, stsz.count - 1);
}

}  // namespace

uint32_t mov_time_to_keyframe(uint32_t milliseconds, const MovIndex* index) {
  if (index == nullptr) return 0;
  std::printf("vtrak id %d\n", static_cast<int>(index->video_track));
  const MovTrack* track = mov_video_track(index);
  const uint64_t target = uint64_t{milliseconds / 1000} * track->mdhd.time_scale;
  uint32_t sample = target != 0 ? sample_at(target, track->stts) : 0;
  std::printf("stts sample %u\n", sample);
  if (sample != 0) sample = nearest_key_frame(sample, track->stss);
  std::printf("stss sample %u\n", sample);
  return sample;
}

uint64_t mov_sample_offset(uint32_t sample, const MovIndex* index) {
  if (index == nullptr) return 0;
  const MovTrack* track = mov_video_track(index);
  if (track->stco.count == 0 || track->stsz.count == 0) return 0;
  const Place place = find_chunk(sample, track->stsc);
  return chunk_offset(place.chunk, track->stco) +
         sum_of_sizes(sample - place.index, sample, track->stsz);
}

}  // namespace media
