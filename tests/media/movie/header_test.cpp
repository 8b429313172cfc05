#include "media/movie/header.h"

#include <gtest/gtest.h>

#include "media/movie/mov_boxes.h"
#include "support/allocation_fault.h"

namespace media {
namespace {

using support::AllocationFault;
using support::Fault;

const Bytes kFtyp = box("ftyp", text_bytes("isom") + be32({512}) + text_bytes("isomavc1"));
const Bytes kMoov = box("moov", box("free", text_bytes("tables")));

class MovHeaderTest : public ::testing::Test {
 protected:
  ~MovHeaderTest() override { mov_header_free(&header_); }

  int32_t read(const Bytes& bytes, Fault fault = Fault::kNone) {
    file_ = media_test::open_bytes(bytes);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    int32_t result = 0;
    {
      const AllocationFault armed(fault);
      result = mov_get_header_atom(file_.get(), &header_);
    }
    output_ = ::testing::internal::GetCapturedStdout();
    errors_ = ::testing::internal::GetCapturedStderr();
    return result;
  }

  MovHeader header_{};
  base::File file_;
  std::string output_;
  std::string errors_;
};

TEST_F(MovHeaderTest, FindsThePartsAndPrintsFourLines) {
  ASSERT_EQ(kFtyp.size(), 24U);
  ASSERT_EQ(kMoov.size(), 22U);
  EXPECT_EQ(
      read(kFtyp + box("free", text_bytes("1234")) + box("mdat", Bytes(100, uint8_t{7})) + kMoov),
      0);
  EXPECT_EQ(header_.ftyp_offset, 0U);
  EXPECT_EQ(header_.ftyp_size, 24U);
  EXPECT_EQ(Bytes(header_.ftyp_data, header_.ftyp_data + 24), kFtyp);
  EXPECT_EQ(header_.mdat_offset, 36U);
  EXPECT_EQ(header_.mdat_size, 108U);
  EXPECT_EQ(header_.moov_offset, 144U);
  EXPECT_EQ(header_.moov_size, 22U);
  EXPECT_EQ(Bytes(header_.moov_data, header_.moov_data + 22), kMoov);
  EXPECT_EQ(output_,
            "ftyp atom:         0 24\n"
            "free atom:        24 12\n"
            "mdat atom:        36 108\n"
            "moov atom:       144 22\n");
  EXPECT_EQ(errors_, "");
  EXPECT_EQ(ftello(file_.get()), 0);
}

TEST_F(MovHeaderTest, EveryTypeThatIsSkippedHasItsLine) {
  std::string lines;
  Bytes bytes;
  for (const char* type : {"free", "junk", "pnot", "skip", "wide", "PICT", "uuid"}) {
    char line[64];
    std::snprintf(line, sizeof(line), "%s atom:%10zu 9\n", type, bytes.size());
    lines += line;
    bytes = bytes + box(type, {1});
  }
  EXPECT_EQ(read(bytes), 0);
  EXPECT_EQ(output_, lines);
}

TEST_F(MovHeaderTest, AnEmptyFileAndShortReadsAreTheEnd) {
  EXPECT_EQ(read({}), 0);
  EXPECT_EQ(output_ + errors_, "");
  EXPECT_EQ(read(kFtyp + Bytes(7, uint8_t{0})), 0);
  EXPECT_EQ(ftello(file_.get()), 0);
  EXPECT_EQ(header_.moov_data, nullptr);
}

TEST_F(MovHeaderTest, AnUnknownTypeIsSkippedAndThenRefused) {
  EXPECT_EQ(read(box("moof", Bytes(20, uint8_t{0})) + kMoov), -1);
  EXPECT_EQ(ftello(file_.get()), 28);
  EXPECT_EQ(errors_, "encountered non-QT top-level atom (is this a QuickTime file?)\n");
  EXPECT_EQ(output_, "");
}

TEST_F(MovHeaderTest, SizesBelowEightAreErrorsWithoutAWord) {
  for (const uint32_t size : {0U, 2U, 7U}) {
    EXPECT_EQ(read(be32({size}) + text_bytes("mdat") + Bytes(20, uint8_t{0})), -1);
    EXPECT_EQ(read(be32({1}) + text_bytes("free") + be32({0, size}) + Bytes(20, uint8_t{0})), -1);
    EXPECT_EQ(output_ + errors_, "");
  }
}

TEST_F(MovHeaderTest, SizesOf64BitsAreRead) {
  EXPECT_EQ(read(long_box("mdat", Bytes(4, uint8_t{1})) + long_box("moov", Bytes(8, uint8_t{2})) +
                 long_box("ftyp")),
            0);
  EXPECT_EQ(header_.mdat_size, 20U);
  EXPECT_EQ(header_.moov_offset, 20U);
  EXPECT_EQ(header_.moov_size, 24U);
  EXPECT_EQ(header_.ftyp_offset, 44U);
  EXPECT_EQ(output_,
            "mdat atom:         0 20\n"
            "moov atom:        20 24\n"
            "ftyp atom:        44 16\n");
}

TEST_F(MovHeaderTest, A64BitSizeThatIsCutIsAReadError) {
  EXPECT_EQ(read(be32({1}) + text_bytes("mdat") + Bytes(7, uint8_t{0})), -1);
  EXPECT_EQ(errors_, "mov_get_header_atom(line:497)Read data ERROR!!! \n");
}

TEST_F(MovHeaderTest, MdatMayReachBeyondTheEndOfTheFile) {
  EXPECT_EQ(read(be32({1}) + text_bytes("mdat") + be32({0x10, 0}) + Bytes(20, uint8_t{0})), 0);
  EXPECT_EQ(header_.mdat_size, 0x1000000000U);
  EXPECT_EQ(output_, "mdat atom:         0 68719476736\n");
}

TEST_F(MovHeaderTest, ASizeThatNoFileHasIsAnError) {
  for (const char* type : {"mdat", "free", "what"}) {
    EXPECT_EQ(read(be32({1}) + text_bytes(type) + be32({0xFFFFFFFF, 0xFFFFFFF0})), -1);
    EXPECT_EQ(output_ + errors_, "");
    EXPECT_EQ(read(box("free") + be32({1}) + text_bytes(type) + be32({0x7FFFFFFF, 0xFFFFFFFF})),
              -1);
    EXPECT_EQ(output_ + errors_, "free atom:         0 8\n");
  }
}

TEST_F(MovHeaderTest, MoovBelowSixteenBytesIsBad) {
  EXPECT_EQ(read(box("moov", Bytes(7, uint8_t{0}))), -1);
  EXPECT_EQ(errors_, "bad moov atom size\n");
  EXPECT_EQ(read(box("moov", Bytes(8, uint8_t{0}))), 0);
}

TEST_F(MovHeaderTest, MoovAndFtypThatAreCutAreReadErrors) {
  EXPECT_EQ(read(be32({23}) + text_bytes("moov") + Bytes(14, uint8_t{0})), -1);
  EXPECT_EQ(errors_, "mov_get_header_atom(line:555)Read data ERROR!!! \n");
  EXPECT_EQ(read(be32({23}) + text_bytes("ftyp") + Bytes(14, uint8_t{0})), -1);
  EXPECT_EQ(errors_, "mov_get_header_atom(line:530)Read data ERROR!!! \n");
  EXPECT_EQ(header_.moov_data, nullptr);
  EXPECT_EQ(header_.ftyp_data, nullptr);
}

TEST_F(MovHeaderTest, CompressedTablesAreRefused) {
  EXPECT_EQ(read(kFtyp + box("moov", box("cmov", text_bytes("zlib")))), -1);
  EXPECT_EQ(errors_, "this utility does not support compressed moov atoms yet\n");
  EXPECT_EQ(output_, "ftyp atom:         0 24\n");
  EXPECT_EQ(header_.moov_data, nullptr);
}

TEST_F(MovHeaderTest, FtypMayHaveOneMebibyte) {
  EXPECT_EQ(read(box("ftyp", Bytes(1048576 - 8, uint8_t{0}))), 0);
  EXPECT_EQ(header_.ftyp_size, 1048576U);
  EXPECT_EQ(read(box("ftyp", Bytes(1048577 - 8, uint8_t{0}))), -1);
  EXPECT_EQ(errors_, "ftyp atom size 1048577 too big\n");
}

TEST_F(MovHeaderTest, MemoryThatIsNotThereIsNamed) {
  EXPECT_EQ(read(kFtyp, Fault::kMalloc), -1);
  EXPECT_EQ(errors_, "could not allocate 24 bytes for ftyp atom\n");
  EXPECT_EQ(read(kMoov, Fault::kMalloc), -1);
  EXPECT_EQ(errors_, "could not allocate 22 bytes for moov atom\n");
}

TEST_F(MovHeaderTest, AMoovThatNoRecordingHasGetsNoMemory) {
  EXPECT_EQ(read(be32({kMovLargestMoov + 1}) + text_bytes("moov") + Bytes(8, uint8_t{0})), -1);
  EXPECT_EQ(errors_, "could not allocate 67108865 bytes for moov atom\n");
  EXPECT_EQ(read(be32({1}) + text_bytes("moov") + be32({0x7FFFFFFF, 0xFFFFFFFF})), -1);
  EXPECT_EQ(errors_, "could not allocate 9223372036854775807 bytes for moov atom\n");
}

TEST_F(MovHeaderTest, OfRepeatedAtomsTheLastOneCounts) {
  const Bytes second = box("moov", box("skip", text_bytes("others")));
  EXPECT_EQ(read(kFtyp + kMoov + box("mdat") + kFtyp + second + box("mdat", {1})), 0);
  EXPECT_EQ(header_.ftyp_offset, 54U);
  EXPECT_EQ(header_.moov_offset, 78U);
  EXPECT_EQ(Bytes(header_.moov_data, header_.moov_data + 22), second);
  EXPECT_EQ(header_.mdat_offset, 100U);
  EXPECT_EQ(header_.mdat_size, 9U);
}

TEST_F(MovHeaderTest, TheScanOfAtomsHasAnEnd) {
  Bytes bytes;
  for (int i = 0; i < kMovMostTopAtoms; i++) {
    const Bytes atom = box("free");
    bytes.insert(bytes.end(), atom.begin(), atom.end());
  }
  EXPECT_EQ(read(bytes), -1);
  bytes.resize(bytes.size() - 8);
  EXPECT_EQ(read(bytes), 0);
}

TEST_F(MovHeaderTest, NullsAreRefusedAndFreedTwiceIsFine) {
  EXPECT_EQ(mov_get_header_atom(nullptr, &header_), -1);
  const base::File file = media_test::open_bytes({});
  EXPECT_EQ(mov_get_header_atom(file.get(), nullptr), -1);
  ASSERT_EQ(read(kFtyp + kMoov), 0);
  mov_header_free(&header_);
  EXPECT_EQ(header_.moov_data, nullptr);
  EXPECT_EQ(header_.moov_size, 0U);
  mov_header_free(&header_);
  mov_header_free(nullptr);
}

}  // namespace
}  // namespace media
