// Loading: how bytes become segments.
#include "media/photo/jpeg_data.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "media/photo/exif_log_capture.h"
#include "media/photo/jpeg_markers.h"
#include "support/allocation_fault.h"
#include "support/photo.h"

namespace media {
namespace {

using support::AllocationFault;
using support::Fault;
using Messages = std::vector<std::string>;

class JpegLoad : public ::testing::Test {
 protected:
  JpegLoad() { jpeg_data_set_log(jpeg.get(), capture.log()); }

  void load(const Bytes& bytes) {
    jpeg_data_load_data(jpeg.get(), bytes.data(), static_cast<uint32_t>(bytes.size()));
  }

  // "d8 e0(5) da(3) d9": markers and payload sizes.
  [[nodiscard]] std::string segments() const {
    std::string text;
    for (uint32_t i = 0; i < jpeg->count; i++) {
      char one[32];
      std::snprintf(one, sizeof(one), jpeg->sections[i].size > 0 ? "%02x(%u) " : "%02x ",
                    jpeg->sections[i].marker, jpeg->sections[i].size);
      text += one;
    }
    return text;
  }

  [[nodiscard]] Bytes scan() const {
    return jpeg->size == 0 ? Bytes{} : Bytes(jpeg->data, jpeg->data + jpeg->size);
  }

  media_test::ExifLogCapture capture;
  JpegDataOwner jpeg{jpeg_data_new()};
};

const Messages kNotJpeg{"jpeg-data 3 Data does not follow JPEG specification."};

TEST_F(JpegLoad, CutsAPhotoIntoSegmentsAndScanData) {
  load(media_test::plain_photo());
  EXPECT_EQ(segments(), "d8 e0(5) da(3) d9 ");
  EXPECT_EQ(Bytes(jpeg->sections[1].content.bytes, jpeg->sections[1].content.bytes + 5),
            (Bytes{'J', 'F', 'I', 'F', 0}));
  EXPECT_EQ(scan(), (Bytes{0x11, 0x22, 0xFF, 0x00, 0x33}));
  EXPECT_TRUE(capture.messages().empty());
  EXPECT_TRUE(jpeg_data_is_whole(jpeg.get()));
}

TEST_F(JpegLoad, AFirstByteThatIsNoMarkerGivesAnEmptyContainer) {
  load({0x00, 0xD8});
  EXPECT_EQ(jpeg->count, 0U);
  EXPECT_EQ(capture.messages(), kNotJpeg);
  EXPECT_EQ(jpeg_data_get_exif_data(jpeg.get()), nullptr);
}

TEST_F(JpegLoad, SevenFillBytesAreSkippedAndEightAreNot) {
  load({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xD8});
  EXPECT_EQ(segments(), "d8 ");
  EXPECT_TRUE(capture.messages().empty());
  load({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xD8});
  EXPECT_EQ(segments(), "d8 ");
  EXPECT_EQ(capture.messages(), kNotJpeg);
}

TEST_F(JpegLoad, AMarkerWithoutFillBytesIsAccepted) {
  load({0xD8, 0xD9});
  EXPECT_EQ(segments(), "d8 d9 ");
}

TEST_F(JpegLoad, FillBytesUpToTheEndAreNotJpeg) {
  load({0xFF, 0xD8, 0xFF, 0xFF});
  EXPECT_EQ(segments(), "d8 ");
  EXPECT_EQ(capture.messages(), kNotJpeg);
}

TEST_F(JpegLoad, MarkersReachFromC0ToFE) {
  load(Bytes{0xFF, 0xC0, 0, 3, 9} + Bytes{0xFF, 0xFE, 0, 3, 9} + Bytes{0xFF, 0xBF});
  EXPECT_EQ(segments(), "c0(1) fe(1) ");
  EXPECT_EQ(capture.messages(), kNotJpeg);
}

TEST_F(JpegLoad, ALengthOfZeroOrOneKeepsTheSegmentEmptyAndStopsSilently) {
  for (const uint8_t length : Bytes{0, 1}) {
    const Bytes bytes{0xFF, 0xE0, 0, length, 0xFF, 0xD9};
    load(bytes);
  }
  EXPECT_EQ(segments(), "e0 e0 ");
  EXPECT_TRUE(capture.messages().empty());
  EXPECT_FALSE(jpeg_data_is_whole(jpeg.get()));
}

TEST_F(JpegLoad, ALengthPastTheEndKeepsTheSegmentEmptyAndStopsSilently) {
  load({0xFF, 0xD8, 0xFF, 0xE0, 0, 5, 1, 2});
  EXPECT_EQ(segments(), "d8 e0 ");
  EXPECT_EQ(jpeg->sections[1].content.bytes, nullptr);
  EXPECT_TRUE(capture.messages().empty());
  EXPECT_FALSE(jpeg_data_is_whole(jpeg.get()));
}

TEST_F(JpegLoad, AMissingLengthKeepsTheSegmentEmpty) {
  load({0xFF, 0xD8, 0xFF, 0xE0, 0});
  load({0xFF, 0xE1});
  EXPECT_EQ(segments(), "d8 e0 e1 ");
  EXPECT_TRUE(capture.messages().empty());
}

TEST_F(JpegLoad, WithoutEoiEverythingBehindSosIsScanData) {
  load(Bytes{0xFF, 0xD8} + segment(0xDA, {1}) + Bytes{1, 2, 3, 4});
  EXPECT_EQ(segments(), "d8 da(1) ");
  EXPECT_EQ(scan(), (Bytes{1, 2, 3, 4}));
}

TEST_F(JpegLoad, TheFfTwoBytesBeforeTheEndEndsTheScanData) {
  load(segment(0xDA, {1}) + Bytes{1, 0xFF, 0xD9, 2, 0xFF, 0xFE});
  EXPECT_EQ(segments(), "da(1) fe ");
  EXPECT_EQ(scan(), (Bytes{1, 0xFF, 0xD9, 2}));
}

TEST_F(JpegLoad, ScanDataMayBeAsShortAsNothing) {
  load(segment(0xDA, {1}) + Bytes{0xFF, 0xD9});
  EXPECT_EQ(segments(), "da(1) d9 ");
  EXPECT_EQ(scan(), Bytes{});
  load(segment(0xDA, {1}) + Bytes{7});
  EXPECT_EQ(scan(), Bytes{7});
  load(segment(0xDA, {1}));
  EXPECT_EQ(scan(), Bytes{});
}

TEST_F(JpegLoad, AJunkEndBehindThePictureDoesNotCutIt) {
  load(media_test::plain_photo() + Bytes{0xFF, 0xFF});
  EXPECT_EQ(scan(), (Bytes{0x11, 0x22, 0xFF, 0x00, 0x33, 0xFF, 0xD9}));
  EXPECT_EQ(capture.messages(), kNotJpeg);
  EXPECT_TRUE(jpeg_data_is_whole(jpeg.get()));
}

TEST_F(JpegLoad, App1IsParsedWithAndWithoutItsFfByte) {
  const Bytes exif = media_test::exif_bytes({{0x010F, 2, 3, {'A', 'B', 0}}});
  Bytes app1 = segment(0xE1, exif);
  load(app1);
  app1.erase(app1.begin());
  load(app1);
  EXPECT_EQ(segments(), "e1 e1 ");
  for (uint32_t i = 0; i < 2; i++) {
    ExifData* data = jpeg->sections[i].content.exif;
    ASSERT_NE(data, nullptr);
    const ExifEntry* make = exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_MAKE);
    ASSERT_NE(make, nullptr);
    EXPECT_EQ(Bytes(make->data, make->data + make->size), (Bytes{'A', 'B', 0}));
  }
}

TEST_F(JpegLoad, ExhaustedMemoryIsLoggedWithTheSizeAndStops) {
  const Bytes photo = media_test::plain_photo();
  {
    const AllocationFault fault(Fault::kRealloc, 1);
    load(photo);
  }
  EXPECT_EQ(segments(), "d8 ");
  EXPECT_FALSE(jpeg_data_is_whole(jpeg.get()));
  {
    const AllocationFault fault(Fault::kMalloc);
    load(photo);
  }
  EXPECT_EQ(segments(), "d8 d8 e0 ");
  {
    const AllocationFault fault(Fault::kMalloc, 2);
    load(photo);
  }
  EXPECT_EQ(segments(), "d8 d8 e0 d8 e0(5) da(3) ");
  EXPECT_EQ(jpeg->size, 0U);
  EXPECT_FALSE(jpeg_data_is_whole(jpeg.get()));
  EXPECT_EQ(capture.messages(), (Messages{"jpeg-data 2 Could not allocate 32 byte(s).",
                                          "jpeg-data 2 Could not allocate 5 byte(s).",
                                          "jpeg-data 2 Could not allocate 5 byte(s)."}));
}

TEST_F(JpegLoad, AFloodOfSegmentsIsRefused) {
  load(Bytes(70000, 0xD8));
  EXPECT_EQ(jpeg->count, 65536U);
  ASSERT_EQ(capture.messages().size(), 1U);
  EXPECT_FALSE(jpeg_data_is_whole(jpeg.get()));
}

TEST_F(JpegLoad, NoContainerWithoutMemory) {
  for (const int after : {0, 1}) {
    const AllocationFault fault(Fault::kNew, after);
    EXPECT_EQ(jpeg_data_new(), nullptr);
  }
  const AllocationFault fault(Fault::kNew);
  EXPECT_EQ(jpeg_data_new_from_file("/nowhere"), nullptr);
}

TEST_F(JpegLoad, FilesAreLoadedOrTheReasonIsLogged) {
  const media_test::TemporaryFolder folder;
  media_test::write_file(folder.path("a"), media_test::plain_photo());
  jpeg_data_load_file(jpeg.get(), folder.path("a").c_str());
  EXPECT_EQ(segments(), "d8 e0(5) da(3) d9 ");
  media_test::write_file(folder.path("empty"), {});
  jpeg_data_load_file(jpeg.get(), folder.path("empty").c_str());
  EXPECT_TRUE(capture.messages().empty());

  mkfifo(folder.path("pipe").c_str(), 0666);
  jpeg_data_load_file(jpeg.get(), "/nowhere/x.JPG");
  jpeg_data_load_file(jpeg.get(), folder.path("pipe").c_str());
  jpeg_data_load_file(jpeg.get(), folder.folder().c_str());
  {
    const AllocationFault fault(Fault::kMalloc);
    jpeg_data_load_file(jpeg.get(), folder.path("a").c_str());
  }
  ASSERT_EQ(truncate(folder.path("a").c_str(), 0x4000001), 0);
  jpeg_data_load_file(jpeg.get(), folder.path("a").c_str());
  EXPECT_EQ(capture.messages(), (Messages{"jpeg-data 3 Path '/nowhere/x.JPG' invalid.",
                                          "jpeg-data 3 Path '" + folder.path("pipe") + "' invalid.",
                                          "jpeg-data 3 Path '" + folder.folder() + "' invalid.",
                                          "jpeg-data 2 Could not allocate 25 byte(s).",
                                          "jpeg-data 2 Could not allocate 67108865 byte(s)."}));
}

TEST(JpegMarkers, AreNamedAsInTheStandard) {
  EXPECT_STREQ(jpeg_marker_get_name(0xC0), "SOF0");
  EXPECT_STREQ(jpeg_marker_get_description(0xC0), "Encoding (baseline)");
  EXPECT_STREQ(jpeg_marker_get_name(0xC4), "DHT");
  EXPECT_STREQ(jpeg_marker_get_name(0xD7), "RST7");
  EXPECT_STREQ(jpeg_marker_get_name(0xD8), "SOI");
  EXPECT_STREQ(jpeg_marker_get_name(0xDA), "SOS");
  EXPECT_STREQ(jpeg_marker_get_name(0xE1), "APP1");
  EXPECT_STREQ(jpeg_marker_get_description(0xDD), "Define restart interval");
  EXPECT_STREQ(jpeg_marker_get_name(0xFE), "COM");
  EXPECT_EQ(jpeg_marker_get_name(0x00), nullptr);
  EXPECT_EQ(jpeg_marker_get_description(0xFF), nullptr);
  for (uint32_t code = 0xC0; code <= 0xFE; code++) EXPECT_NE(jpeg_marker_get_name(code), nullptr);
}

}  // namespace
}  // namespace media
