#include "media/movie/index.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <new>

#include "base/bytes.h"

namespace media {
namespace {

// Bytes of an atom's fixed fields.
constexpr uint64_t kStart = 4;  // version and flags
constexpr uint64_t kTkhd = 84;
constexpr uint64_t kMdhd = 22;
constexpr uint64_t kTable = 8;
constexpr uint64_t kStsz = 12;

// Bytes of a table's entry.
constexpr uint64_t kSttsEntry = 8;
constexpr uint64_t kStscEntry = 12;
constexpr uint64_t kWordEntry = 4;

int32_t ignore(MovIndex* /*index*/, const MovAtom* /*atom*/) { return 0; }

int32_t descend(MovIndex* index, const MovAtom* atom) {
  index->depth++;
  if (index->depth >= kMovDepthLimit) {
    std::fprintf(stderr, "atoms too deeply nested :%u\n", index->depth);
    // The depth deliberately stays raised: what follows has less room.
    return -1;
  }
  const int32_t result = mov_walk_atoms(atom->payload, atom->size, mov_atom_handler, index);
  index->depth--;
  return result;
}

int32_t take_trak(MovIndex* index, const MovAtom* atom) {
  if (index->track_count >= kMovTracks) return -1;
  index->track_count++;
  std::printf("Find %d track!!\n", static_cast<int>(index->track_count));
  return descend(index, atom);
}

// The track that an atom belongs to; null when there is none or the atom lacks `least` bytes.
MovTrack* current_track(MovIndex* index, const MovAtom* atom, uint64_t least) {
  if (index->track_count == 0 || atom->size < least) return nullptr;
  return &index->tracks[index->track_count - 1];
}

MovAtomStart start_of(const MovAtom* atom) {
  const uint32_t word = mov_load_u32(atom->payload);
  return {atom->size, static_cast<uint8_t>(word >> 24), word & 0xFFFFFF};
}

// How many entries of that size the payload really holds behind its fixed fields.
uint32_t clip(const MovAtom* atom, uint64_t fixed, uint64_t entry, uint32_t count) {
  return static_cast<uint32_t>(std::min<uint64_t>(count, (atom->size - fixed) / entry));
}

// The part of the current track that an atom fills, begun with what `tkhd` and `mdhd` share; null as
// current_track gives it.
template <typename Part>
Part* dated_part(MovIndex* index, const MovAtom* atom, uint64_t least, Part MovTrack::*part) {
  MovTrack* track = current_track(index, atom, least);
  if (track == nullptr) return nullptr;
  Part* to = &(track->*part);
  to->atom = start_of(atom);
  to->creation_time = mov_load_u32(atom->payload + 4);
  to->modification_time = mov_load_u32(atom->payload + 8);
  return to;
}

int32_t take_tkhd(MovIndex* index, const MovAtom* atom) {
  MovTkhd* to = dated_part(index, atom, kTkhd, &MovTrack::tkhd);
  if (to == nullptr) return -1;
  const uint8_t* from = atom->payload;
  to->track_id = mov_load_u32(from + 12);
  to->duration = mov_load_u32(from + 20);
  to->layer = base::load_u16be(from + 32);
  to->alternate_group = base::load_u16be(from + 34);
  to->volume = base::load_u16be(from + 36);
  std::memcpy(to->matrix, from + 40, sizeof(to->matrix));
  to->width = mov_load_u32(from + 76);
  to->height = mov_load_u32(from + 80);
  if (to->width != 0 && to->height != 0) index->video_track = index->track_count - 1;
  std::printf("tkhd params:%u %u %u %u %u \n", to->track_id, to->creation_time,
              to->modification_time, to->width, to->height);
  return 0;
}

int32_t take_mdhd(MovIndex* index, const MovAtom* atom) {
  MovMdhd* to = dated_part(index, atom, kMdhd, &MovTrack::mdhd);
  if (to == nullptr) return -1;
  to->time_scale = mov_load_u32(atom->payload + 12);
  to->duration = mov_load_u32(atom->payload + 16);
  std::memcpy(to->language, atom->payload + 20, sizeof(to->language));
  return 0;
}

int32_t take_stsd(MovIndex* index, const MovAtom* atom) {
  MovTrack* track = current_track(index, atom, kTable);
  if (track == nullptr) return -1;
  mov_description_free(track->stsd.description);
  track->stsd = {start_of(atom), std::min(mov_load_u32(atom->payload + kStart), 1U), nullptr};
  if (track->stsd.count == 0) return 0;
  track->stsd.description = mov_description_parse(atom->payload + kTable, atom->size - kTable);
  return track->stsd.description != nullptr ? 0 : -1;
}

// A table is printed as the file describes it and recorded as far as it is there.
int32_t take_table(MovTable MovTrack::*table, const char* name, uint64_t entry, MovIndex* index,
                   const MovAtom* atom) {
  MovTrack* track = current_track(index, atom, kTable);
  if (track == nullptr) return -1;
  const uint32_t count = mov_load_u32(atom->payload + kStart);
  track->*table = {start_of(atom), clip(atom, kTable, entry, count), atom->payload + kTable};
  std::printf("%s params:%10" PRIu64 " %2u\n", name, atom->size, count);
  return 0;
}

int32_t take_stts(MovIndex* index, const MovAtom* atom) {
  return take_table(&MovTrack::stts, "stts", kSttsEntry, index, atom);
}

int32_t take_stsc(MovIndex* index, const MovAtom* atom) {
  return take_table(&MovTrack::stsc, "stsc", kStscEntry, index, atom);
}

int32_t take_stco(MovIndex* index, const MovAtom* atom) {
  return take_table(&MovTrack::stco, "stco", kWordEntry, index, atom);
}

int32_t take_stss(MovIndex* index, const MovAtom* atom) {
  return take_table(&MovTrack::stss, "stss", kWordEntry, index, atom);
}

int32_t take_stsz(MovIndex* index, const MovAtom* atom) {
  MovTrack* track = current_track(index, atom, kStsz);
  if (track == nullptr) return -1;
  const uint32_t sample_size = mov_load_u32(atom->payload + kStart);
  const uint32_t count = mov_load_u32(atom->payload + kTable);
  track->stsz = {start_of(atom), sample_size, clip(atom, kStsz, kWordEntry, count),
                 atom->payload + kStsz};
  std::printf("stsz params:%10" PRIu64 " %2u  %2u\n", atom->size, sample_size, count);
  return 0;
}

struct Take {
  uint32_t type;
  MovHandler take;
};
constexpr Take kTakes[] = {
    {mov_type("mvhd"), ignore},    {mov_type("udta"), ignore},    {mov_type("edts"), ignore},
    {mov_type("hdlr"), ignore},    {mov_type("vmhd"), ignore},    {mov_type("smhd"), ignore},
    {mov_type("dinf"), ignore},    {mov_type("trak"), take_trak}, {mov_type("tkhd"), take_tkhd},
    {mov_type("mdhd"), take_mdhd}, {mov_type("stsd"), take_stsd}, {mov_type("stts"), take_stts},
    {mov_type("stsc"), take_stsc}, {mov_type("stco"), take_stco}, {mov_type("stss"), take_stss},
    {mov_type("stsz"), take_stsz},
};

}  // namespace

int32_t mov_index_new(MovIndex** index) {
  if (index == nullptr) return -1;
  *index = new (std::nothrow) MovIndex{};
  return *index != nullptr ? 0 : -1;
}

int32_t mov_atom_handler(MovIndex* index, const MovAtom* atom) {
  if (index == nullptr || atom == nullptr) return -1;
  for (const Take& entry : kTakes) {
    if (entry.type == atom->type) return entry.take(index, atom);
  }
  return descend(index, atom);
}

void mov_index_free(MovIndex* index) {
  if (index == nullptr) return;
  for (const MovTrack& track : index->tracks) mov_description_free(track.stsd.description);
  delete index;
}

}  // namespace media
