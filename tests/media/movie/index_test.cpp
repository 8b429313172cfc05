#include "media/movie/index.h"

#include <gtest/gtest.h>

#include "media/movie/mov_boxes.h"
#include "support/allocation_fault.h"

namespace media {
namespace {

using media_test::audio_track;
using media_test::avc_description;
using media_test::full_box;
using media_test::Indexed;
using media_test::mdhd;
using media_test::table;
using media_test::Tables;
using media_test::tkhd;
using media_test::video_track;
using support::AllocationFault;
using support::Fault;

std::vector<uint32_t> words_of(const MovTable& from, uint32_t per_entry) {
  std::vector<uint32_t> words;
  for (uint32_t i = 0; i < from.count * per_entry; i++) {
    words.push_back(mov_load_u32(from.entries + uint64_t{i} * 4));
  }
  return words;
}

// The handler with its output swallowed.
int32_t handle(MovIndex* index, const char (&type)[5], const Bytes& payload,
               std::string* errors = nullptr) {
  const MovAtom atom{mov_type(type), payload.data(), payload.size()};
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const int32_t result = mov_atom_handler(index, &atom);
  ::testing::internal::GetCapturedStdout();
  const std::string said = ::testing::internal::GetCapturedStderr();
  if (errors != nullptr) *errors = said;
  return result;
}

TEST(MovIndexTest, ARecordingIsPrintedLineByLine) {
  Tables tables;
  tables.stss = {1, 31, 61};
  const Indexed indexed(box("moov", box("mvhd", Bytes(100, uint8_t{0})) + video_track(tables) +
                                        audio_track() + box("udta", text_bytes("anything"))));
  EXPECT_EQ(indexed.walked, 0);
  EXPECT_EQ(indexed.errors, "");
  EXPECT_EQ(indexed.output,
            "Find 1 track!!\n"
            "tkhd params:1 11 12 83886080 47185920 \n"
            "stts params:        16  1\n"
            "stsc params:        20  1\n"
            "stco params:        16  2\n"
            "stss params:        20  3\n"
            "stsz params:       412  0  100\n"
            "Find 2 track!!\n"
            "tkhd params:2 11 12 0 0 \n"
            "stts params:        16  1\n"
            "stsc params:        20  1\n"
            "stco params:        12  1\n"
            "stsz params:        16  0   1\n");
  EXPECT_EQ(indexed.index->track_count, 2U);
  EXPECT_EQ(indexed.index->video_track, 0U);
  EXPECT_EQ(indexed.index->depth, 0U);
}

TEST(MovIndexTest, TheTrackRecordHoldsEveryField) {
  Tables tables;
  tables.time_scale = 30000;
  tables.stss = {1, 31};
  tables.stsz = {5, 6, 7};
  const Indexed indexed(video_track(tables));
  const MovTrack* track = mov_video_track(indexed.index.get());
  EXPECT_EQ(track->tkhd.atom.size, 84U);
  EXPECT_EQ(track->tkhd.creation_time, 11U);
  EXPECT_EQ(track->tkhd.modification_time, 12U);
  EXPECT_EQ(track->tkhd.track_id, 1U);
  EXPECT_EQ(track->tkhd.duration, 13U);
  EXPECT_EQ(track->tkhd.layer, 31);
  EXPECT_EQ(track->tkhd.alternate_group, 32);
  EXPECT_EQ(track->tkhd.volume, 33);
  EXPECT_EQ(track->tkhd.matrix[0], 1);
  EXPECT_EQ(track->tkhd.matrix[35], 36);
  EXPECT_EQ(track->tkhd.width, 1280U << 16);
  EXPECT_EQ(track->tkhd.height, 720U << 16);
  EXPECT_EQ(track->mdhd.creation_time, 21U);
  EXPECT_EQ(track->mdhd.modification_time, 22U);
  EXPECT_EQ(track->mdhd.time_scale, 30000U);
  EXPECT_EQ(track->mdhd.duration, 23U);
  EXPECT_EQ(track->mdhd.language[0], 0x55);
  EXPECT_EQ(track->mdhd.language[1], 0xC4);
  EXPECT_EQ(words_of(track->stts, 2), tables.stts);
  EXPECT_EQ(words_of(track->stsc, 3), tables.stsc);
  EXPECT_EQ(words_of(track->stco, 1), tables.stco);
  EXPECT_EQ(words_of(track->stss, 1), tables.stss);
  EXPECT_EQ(track->stsz.sample_size, 0U);
  EXPECT_EQ(track->stsz.count, 3U);
  EXPECT_EQ(mov_load_u32(track->stsz.entries + 8), 7U);
}

TEST(MovIndexTest, VersionAndFlagsAreApart) {
  const Indexed indexed(box("trak", box("stts", be32({0x07123456, 0}))));
  EXPECT_EQ(indexed.index->tracks[0].stts.atom.version, 7);
  EXPECT_EQ(indexed.index->tracks[0].stts.atom.flags, 0x123456U);
  EXPECT_EQ(indexed.index->tracks[0].stts.atom.size, 8U);
}

TEST(MovIndexTest, TheVideoTrackIsTheLastWithWidthAndHeight) {
  const Bytes video = box("trak", tkhd(1, 1, 1));
  const Bytes flat = box("trak", tkhd(2, 5, 0));
  const Bytes thin = box("trak", tkhd(3, 0, 5));
  EXPECT_EQ(Indexed(flat + video + thin).index->video_track, 1U);
  EXPECT_EQ(Indexed(video + flat + video).index->video_track, 2U);
  EXPECT_EQ(Indexed(flat + thin).index->video_track, 0U);
}

TEST(MovIndexTest, ASixthTrackIsRefusedBeforeItIsCounted) {
  Bytes tracks;
  for (uint32_t i = 1; i <= 6; i++) tracks = tracks + box("trak", tkhd(i, i, i));
  const Indexed indexed(tracks);
  EXPECT_EQ(indexed.walked, 0);
  EXPECT_EQ(indexed.index->track_count, 5U);
  EXPECT_EQ(indexed.index->video_track, 4U);
  EXPECT_EQ(indexed.index->tracks[4].tkhd.track_id, 5U);
  EXPECT_NE(indexed.output.find("Find 5 track!!\n"), std::string::npos);
  EXPECT_EQ(indexed.output.find("Find 6 track!!\n"), std::string::npos);
  EXPECT_TRUE(indexed.output.ends_with("process trak failed\n"));
}

TEST(MovIndexTest, TablesNeedATrack) {
  const Indexed indexed(tkhd(1, 1, 1) + mdhd(1) + full_box("stsd", be32({0})) +
                        table("stts", 0, {}) + table("stsc", 0, {}) + table("stco", 0, {}) +
                        table("stss", 0, {}) + full_box("stsz", be32({0, 0})));
  EXPECT_EQ(indexed.walked, 0);
  EXPECT_EQ(indexed.output,
            "process tkhd failed\nprocess mdhd failed\nprocess stsd failed\nprocess stts failed\n"
            "process stsc failed\nprocess stco failed\nprocess stss failed\nprocess stsz failed\n");
}

TEST(MovIndexTest, AtomsShorterThanTheirFieldsAreRefused) {
  const Indexed indexed(box("trak"));
  MovIndex* index = indexed.index.get();
  const auto zeros = [](size_t size) { return Bytes(size, uint8_t{0}); };
  EXPECT_EQ(handle(index, "tkhd", zeros(83)), -1);
  EXPECT_EQ(handle(index, "tkhd", zeros(84)), 0);
  EXPECT_EQ(handle(index, "mdhd", zeros(21)), -1);
  EXPECT_EQ(handle(index, "mdhd", zeros(22)), 0);
  EXPECT_EQ(handle(index, "stsd", zeros(7)), -1);
  EXPECT_EQ(handle(index, "stsd", zeros(8)), 0);
  EXPECT_EQ(handle(index, "stts", zeros(7)), -1);
  EXPECT_EQ(handle(index, "stsz", zeros(11)), -1);
  EXPECT_EQ(handle(index, "stsz", zeros(12)), 0);
}

TEST(MovIndexTest, CountsAreClippedToThePayloadAndPrintedAsTheyAre) {
  const Indexed indexed(box("trak", table("stts", 3, {1, 1, 2, 2, 3}) +
                                        table("stsc", 0xFFFFFFFF, {1, 1, 1}) +
                                        table("stco", 2, {1}) + table("stss", 1, {}) +
                                        full_box("stsz", be32({4, 48000}))));
  EXPECT_EQ(indexed.output,
            "Find 1 track!!\n"
            "stts params:        28  3\n"
            "stsc params:        20 4294967295\n"
            "stco params:        12  2\n"
            "stss params:         8  1\n"
            "stsz params:        12  4  48000\n");
  const MovTrack& track = indexed.index->tracks[0];
  EXPECT_EQ(track.stts.count, 2U);
  EXPECT_EQ(track.stsc.count, 1U);
  EXPECT_EQ(track.stco.count, 1U);
  EXPECT_EQ(track.stss.count, 0U);
  EXPECT_EQ(track.stsz.count, 0U);
  EXPECT_EQ(track.stsz.sample_size, 4U);
}

TEST(MovIndexTest, TheSeveralTypesThatAreIgnoredAreNotEntered) {
  for (const char* type : {"mvhd", "udta", "edts", "hdlr", "vmhd", "smhd", "dinf"}) {
    const Indexed indexed(box(type, box("trak")));
    EXPECT_EQ(indexed.index->track_count, 0U) << type;
    EXPECT_EQ(indexed.output + indexed.errors, "") << type;
  }
}

TEST(MovIndexTest, EveryOtherTypeIsAContainer) {
  for (const char* type : {"moov", "mdia", "minf", "stbl", "what"}) {
    EXPECT_EQ(Indexed(box(type, box("trak"))).index->track_count, 1U) << type;
  }
  // A table of 64-bit chunk offsets is none that is known either.
  const Indexed indexed(box("trak", table("co64", 1, {1, 0})));
  EXPECT_EQ(indexed.walked, 0);
  EXPECT_EQ(indexed.errors, "atom size 0 too small\n");
  EXPECT_EQ(indexed.output, "Find 1 track!!\nprocess co64 failed\n");
  EXPECT_EQ(indexed.index->depth, 0U);
}

Bytes nested(int depth, const Bytes& inside) {
  Bytes bytes = inside;
  for (int i = 0; i < depth; i++) bytes = box("deep", bytes);
  return bytes;
}

TEST(MovIndexTest, TwentyContainersAreEntered) {
  const Indexed indexed(nested(20, box("udta")));
  EXPECT_EQ(indexed.output + indexed.errors, "");
  EXPECT_EQ(indexed.index->depth, 0U);
}

TEST(MovIndexTest, TheTwentyFirstIsTooDeepAndTheDepthStaysRaised) {
  const Indexed indexed(nested(21, {}) + nested(20, {}));
  EXPECT_EQ(indexed.walked, 0);
  EXPECT_EQ(indexed.errors, "atoms too deeply nested :21\natoms too deeply nested :21\n");
  EXPECT_EQ(indexed.output, "process deep failed\nprocess deep failed\n");
  EXPECT_EQ(indexed.index->depth, 2U);
}

TEST(MovIndexTest, TheDepthIsPrintedAsFarAsItWasRaised) {
  const Indexed indexed({});
  indexed.index->depth = 30;
  std::string errors;
  EXPECT_EQ(handle(indexed.index.get(), "moov", {}, &errors), -1);
  EXPECT_EQ(errors, "atoms too deeply nested :31\n");
}

TEST(MovIndexTest, AFailedWalkInsideIsTheResultOfTheContainer) {
  const Indexed indexed(box("moov", box("trak", be32({4}) + text_bytes("evil"))));
  EXPECT_EQ(indexed.walked, 0);
  EXPECT_EQ(indexed.errors, "atom size 4 too small\n");
  EXPECT_EQ(indexed.output, "Find 1 track!!\nprocess trak failed\n");
}

TEST(MovIndexTest, OfRepeatedTablesTheLastOneCounts) {
  const Indexed indexed(box("trak", table("stco", 1, {5}) + table("stco", 2, {6, 7}) +
                                        full_box("stsd", be32({1}) + avc_description({1}, {2})) +
                                        full_box("stsd", be32({1}) + avc_description({3}, {4})) +
                                        full_box("stsd", be32({0}))));
  EXPECT_EQ(words_of(indexed.index->tracks[0].stco, 1), (std::vector<uint32_t>{6, 7}));
  EXPECT_EQ(indexed.index->tracks[0].stsd.description, nullptr);
  EXPECT_EQ(indexed.index->tracks[0].stsd.count, 0U);
}

TEST(MovIndexTest, MemoryThatIsNotThere) {
  MovIndex* index = nullptr;
  {
    const AllocationFault fault(Fault::kNew);
    EXPECT_EQ(mov_index_new(&index), -1);
  }
  EXPECT_EQ(index, nullptr);
  EXPECT_EQ(mov_index_new(nullptr), -1);
  const Indexed indexed(box("trak"));
  const Bytes stsd = be32({0, 1}) + avc_description({1, 2}, {3});
  for (const auto& [fault, after] :
       {std::pair{Fault::kNew, 0}, {Fault::kNew, 1}, {Fault::kMalloc, 0}, {Fault::kMalloc, 1}}) {
    const MovAtom atom{mov_type("stsd"), stsd.data(), stsd.size()};
    const AllocationFault armed(fault, after);
    EXPECT_EQ(mov_atom_handler(indexed.index.get(), &atom), -1);
    EXPECT_EQ(indexed.index->tracks[0].stsd.description, nullptr);
  }
  EXPECT_EQ(handle(indexed.index.get(), "stsd", stsd), 0);
}

TEST(MovIndexTest, NullsAreRefused) {
  const MovAtom atom{mov_type("trak"), nullptr, 0};
  EXPECT_EQ(mov_atom_handler(nullptr, &atom), -1);
  const Indexed indexed({});
  EXPECT_EQ(mov_atom_handler(indexed.index.get(), nullptr), -1);
  mov_index_free(nullptr);
}

}  // namespace
}  // namespace media
