// Any bytes as a recording: opened, indexed, sought in and read as playback does it. The first four
// bytes of the input are the time that is asked for, the others are the file.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/descriptor.h"
#include "media/movie/header.h"
#include "media/movie/index.h"
#include "media/movie/read_frame.h"
#include "media/movie/seek.h"

namespace {

constexpr uint32_t kBuffer = 4096;
constexpr int kMostFrames = 100;

// A file that can be sought beyond its end, as one on the card.
base::File open_bytes(const uint8_t* bytes, size_t size) {
  base::Descriptor memory(memfd_create("mov", MFD_CLOEXEC));
  if (!memory.open() || write(memory.get(), bytes, size) != static_cast<ssize_t>(size)) abort();
  if (lseek(memory.get(), 0, SEEK_SET) != 0) abort();
  base::File file(fdopen(memory.get(), "rb"));
  if (file == nullptr) abort();
  (void)memory.release();
  return file;
}

void play(std::FILE* file, const media::MovHeader& header, const media::MovIndex* index,
          uint32_t milliseconds) {
  uint32_t sample = media::mov_time_to_keyframe(milliseconds, index);
  if (sample > 0) sample--;
  uint64_t remaining = header.mdat_offset + header.mdat_size;
  // Exactly as large as is asked of a caller, so that a byte more is found.
  std::vector<uint8_t> buffer(kBuffer + media::kMovFrameSlack);
  for (int i = 0; i < kMostFrames; i++) {
    const uint64_t offset = media::mov_sample_offset(sample++, index);
    if (fseeko(file, static_cast<off_t>(offset), SEEK_SET) != 0) return;
    if (media::mov_read_frame(buffer.data(), kBuffer, &remaining, 4, file) < 0) return;
  }
}

// The tables and sets must be readable to the end that the index states.
uint32_t sum_of_what_is_recorded(const media::MovIndex* index) {
  uint32_t sum = 0;
  for (const media::MovTrack& track : index->tracks) {
    const auto add = [&](const uint8_t* bytes, uint64_t size) {
      for (uint64_t i = 0; i < size; i++) sum += bytes[i];
    };
    add(track.stts.entries, uint64_t{track.stts.count} * 8);
    add(track.stsc.entries, uint64_t{track.stsc.count} * 12);
    add(track.stco.entries, uint64_t{track.stco.count} * 4);
    add(track.stss.entries, uint64_t{track.stss.count} * 4);
    add(track.stsz.entries, uint64_t{track.stsz.count} * 4);
    if (track.stsd.description == nullptr || track.stsd.description->avc == nullptr) continue;
    add(track.stsd.description->avc->sps, track.stsd.description->avc->sps_length);
    add(track.stsd.description->avc->pps, track.stsd.description->avc->pps_length);
  }
  return sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  const uint32_t milliseconds = media::mov_load_u32(data);
  const base::File file = open_bytes(data + 4, size - 4);
  media::MovHeader header{};
  media::MovIndex* made = nullptr;
  if (media::mov_index_new(&made) != 0) abort();
  const media::MovIndexOwner index(made);
  // Whatever the top level says, what was read of it has to be sound.
  (void)media::mov_get_header_atom(file.get(), &header);
  media::mov_walk_atoms(header.moov_data, header.moov_size, media::mov_atom_handler, made);
  if (made->track_count > media::kMovTracks || made->video_track >= media::kMovTracks) abort();
  volatile uint32_t sink = sum_of_what_is_recorded(made);
  (void)sink;
  play(file.get(), header, made, milliseconds);
  media::mov_header_free(&header);
  return 0;
}
