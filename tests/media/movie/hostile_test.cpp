// Recordings that lie: whatever they say, the parser ends, soon, and stays inside its memory.
#include <gtest/gtest.h>

#include "media/movie/header.h"
#include "media/movie/index.h"
#include "media/movie/mov_boxes.h"
#include "media/movie/read_frame.h"
#include "media/movie/seek.h"
#include "support/guarded_bytes.h"
#include "support/patience.h"

namespace media {
namespace {

using media_test::audio_track;
using media_test::full_box;
using media_test::open_bytes;
using media_test::table;
using media_test::Tables;
using media_test::video_track;

constexpr uint32_t kBuffer = 256;
constexpr int kMostFrames = 50;

struct Played {
  int32_t header;
  uint32_t tracks;
  int frames;
};

// No table says that it has more entries than there are bytes for them behind its `fixed` fields.
template <typename Table>
void expect_all_there(const Table& table, uint64_t fixed, uint64_t entry,
                      const support::GuardedBytes& moov) {
  if (table.entries == nullptr) return;
  ASSERT_GE(table.atom.size, fixed);
  EXPECT_LE(table.count, (table.atom.size - fixed) / entry);
  ASSERT_GE(table.entries, moov.data() + fixed);
  ASSERT_LE(table.entries, moov.data() + moov.size());
  EXPECT_LE(table.atom.size - fixed,
            static_cast<uint64_t>(moov.data() + moov.size() - table.entries));
}

void expect_all_there(const MovIndex& index, const support::GuardedBytes& moov) {
  ASSERT_LE(index.track_count, kMovTracks);
  for (const MovTrack& track : index.tracks) {
    expect_all_there(track.stts, 8, 8, moov);
    expect_all_there(track.stsc, 8, 12, moov);
    expect_all_there(track.stco, 8, 4, moov);
    expect_all_there(track.stss, 8, 4, moov);
    expect_all_there(track.stsz, 12, 4, moov);
  }
}

// What playback does with a file: parse it, seek, read frames.
Played play(const Bytes& bytes, uint32_t milliseconds) {
  const base::File file = open_bytes(bytes);
  MovHeader header{};
  Played played{mov_get_header_atom(file.get(), &header), 0, 0};
  MovIndex* made = nullptr;
  EXPECT_EQ(mov_index_new(&made), 0);
  // Nothing lies behind the atoms: a table that is read further ends the program.
  const support::GuardedBytes moov({header.moov_data, header.moov_size});
  const MovIndexOwner index(made);
  mov_walk_atoms(moov.data(), moov.size(), mov_atom_handler, made);
  expect_all_there(*made, moov);
  played.tracks = made->track_count;
  uint32_t sample = mov_time_to_keyframe(milliseconds, made);
  if (sample > 0) sample--;
  const uint64_t mdat_end = header.mdat_offset + header.mdat_size;
  uint64_t remaining = mdat_end;
  const support::GuardedBytes buffer(Bytes(kBuffer + kMovFrameSlack));
  for (; played.frames < kMostFrames; played.frames++) {
    const uint64_t offset = mov_sample_offset(sample++, made);
    if (fseeko(file.get(), static_cast<off_t>(offset), SEEK_SET) != 0) break;
    if (mov_read_frame(buffer.data(), kBuffer, &remaining, 4, file.get()) < 0) break;
  }
  EXPECT_LE(remaining, mdat_end);
  mov_header_free(&header);
  return played;
}

// A whole recording: `ftyp`, `mdat` with 20 frames of 10 bytes in two chunks, `moov`.
Bytes recording() {
  Bytes frames;
  for (uint32_t i = 0; i < 20; i++) frames = frames + be32({6}) + text_bytes("frame.");
  const Bytes ftyp = box("ftyp", text_bytes("isom"));
  Tables tables;
  tables.stts = {20, 1};
  tables.stss = {1, 11};
  tables.stsz = std::vector<uint32_t>(20, 10);
  const auto start = static_cast<uint32_t>(ftyp.size() + 8);
  tables.stco = {start, start + 100};
  return ftyp + box("mdat", frames) +
         box("moov", box("mvhd", Bytes(100, uint8_t{0})) + audio_track() + video_track(tables) +
                         box("free"));
}

class MovHostile : public ::testing::Test {
 protected:
  MovHostile() {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
  }
  ~MovHostile() override {
    ::testing::internal::GetCapturedStdout();
    ::testing::internal::GetCapturedStderr();
  }
};

TEST_F(MovHostile, TheRecordingItselfPlaysToItsEnd) {
  const Played played = play(recording(), 0);
  EXPECT_EQ(played.header, 0);
  EXPECT_EQ(played.tracks, 2U);
  // Behind the 20 samples the offset stays at the second chunk.
  EXPECT_GE(played.frames, 20);
}

TEST_F(MovHostile, CutAtEveryByte) {
  const Bytes whole = recording();
  const size_t mdat_end = 12 + 8 + 200;
  for (size_t size = 0; size < whole.size(); size++) {
    const Played played =
        play(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)), 12000);
    // Only a cut inside `ftyp` or `moov` is one that the top level notices.
    const bool noticed = (size >= 8 && size < 12) || size >= mdat_end + 8;
    EXPECT_EQ(played.header, noticed ? -1 : 0) << size;
    EXPECT_EQ(played.tracks, 0U) << size;
  }
}

TEST_F(MovHostile, EveryByteOfTheTablesWithALie) {
  const Bytes whole = recording();
  const size_t moov = 12 + 8 + 200;
  for (size_t at = moov; at < whole.size(); at++) {
    for (const uint8_t lie : Bytes{0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      Bytes bytes = whole;
      bytes[at] = lie;
      const Played played = play(bytes, 12000);
      // Whatever is there is read once.
      EXPECT_LE(played.tracks, 2U) << at;
    }
  }
}

TEST_F(MovHostile, EveryWordOfTheTablesWithALie) {
  const Bytes whole = recording();
  const size_t moov = 12 + 8 + 200;
  for (size_t at = moov; at + 4 <= whole.size(); at++) {
    for (const uint32_t lie : {0U, 1U, 7U, 8U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
      Bytes bytes = whole;
      const Bytes word = be32({lie});
      std::copy(word.begin(), word.end(), bytes.begin() + static_cast<long>(at));
      const Played played = play(bytes, 0xFFFFFFFF);
      EXPECT_LE(played.tracks, 2U) << at;
    }
  }
}

TEST_F(MovHostile, TablesOutOfRangeTakeNoTime) {
  Tables tables;
  tables.stts = {0xFFFFFFFF, 0xFFFFFFFF};
  tables.time_scale = 0xFFFFFFFF;
  tables.stsc = {1, 0xFFFFFFFF, 1};
  tables.stss = {0xFFFFFFFF, 0xFFFFFFFE};
  const Bytes bytes = box("mdat", be32({4, 4})) + box("moov", video_track(tables));
  const support::Time begin = support::Clock::now();
  for (int i = 0; i < 100; i++) EXPECT_EQ(play(bytes, 0xFFFFFFFF).frames, 0);
  EXPECT_LT(support::Clock::now() - begin, support::seconds(2) * support::kSlowdown);
}

// A container that holds as many atoms as fit, at every depth that is allowed.
TEST_F(MovHostile, MegabytesOfNestedAtomsTakeTimeInProportion) {
  Bytes bytes;
  for (int i = 0; i < 100000; i++) {
    const Bytes atom = box("trak");
    bytes.insert(bytes.end(), atom.begin(), atom.end());
  }
  for (int depth = 0; depth < 19; depth++) bytes = box("deep", bytes);
  const support::Time begin = support::Clock::now();
  EXPECT_EQ(play(box("mdat") + box("moov", bytes), 1000).tracks, 5U);
  EXPECT_LT(support::Clock::now() - begin, support::seconds(5) * support::kSlowdown);
}

TEST_F(MovHostile, AnAtomInsideItselfIsReadOnceOnly) {
  // The payload of `trak` is a `trak`, and so on to the end of the bytes.
  Bytes bytes;
  for (int i = 0; i < 100; i++) bytes = box("trak", bytes);
  EXPECT_EQ(play(box("moov", bytes), 1000).tracks, 5U);
}

TEST_F(MovHostile, ManyDescriptionsLeaveOneBehind) {
  Bytes bytes;
  const Bytes stsd = full_box("stsd", be32({1}) + media_test::avc_description({1, 2, 3}, {4, 5}));
  for (int i = 0; i < 1000; i++) bytes.insert(bytes.end(), stsd.begin(), stsd.end());
  EXPECT_EQ(play(box("moov", box("trak", bytes)), 1000).tracks, 1U);
}

}  // namespace
}  // namespace media
