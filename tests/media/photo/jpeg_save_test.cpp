// Saving, and putting EXIF data into a container.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "fake_base/fake_base.h"
#include "media/photo/jpeg_data.h"
#include "support/allocation_fault.h"
#include "support/photo.h"

namespace media {
namespace {

using support::AllocationFault;
using support::Fault;

JpegDataOwner load(const Bytes& bytes) {
  return JpegDataOwner(jpeg_data_new_from_data(bytes.data(), static_cast<uint32_t>(bytes.size())));
}

// Nothing when the save fails.
Bytes save(const JpegData* jpeg) {
  uint8_t* block = nullptr;
  uint32_t size = 0;
  if (jpeg_data_save_data(jpeg, &block, &size) != 0) return {};
  Bytes bytes(block, block + size);
  std::free(block);
  return bytes;
}

ExifDataOwner some_exif() {
  const Bytes block = media_test::exif_bytes({{0x010F, 2, 3, {'A', 'B', 0}}});
  return ExifDataOwner(exif_data_new_from_data(block.data(), static_cast<unsigned>(block.size())));
}

using JpegSave = fake_base::FakeBaseTest;

TEST_F(JpegSave, AFileWithoutApp1ComesOutByteForByte) {
  const Bytes with_eoi = media_test::plain_photo();
  const Bytes without_eoi(with_eoi.begin(), with_eoi.end() - 2);
  const Bytes empty_payload = Bytes{0xFF, 0xD8} + segment(0xFE, {}) + segment(0xDA, {}) + Bytes{1};
  const Bytes trailing = with_eoi + Bytes{1, 2, 3};
  for (const Bytes& photo : {with_eoi, without_eoi, empty_payload, trailing}) {
    EXPECT_EQ(save(load(photo).get()), photo);
  }
}

TEST_F(JpegSave, AFileWithExifComesOutByteForByteWhenLibexifKeepsIt) {
  const ExifDataOwner exif = some_exif();
  uint8_t* block = nullptr;
  unsigned size = 0;
  exif_data_save_data(exif.get(), &block, &size);
  const Bytes photo = media_test::photo_with_exif(Bytes(block, block + size));
  std::free(block);
  EXPECT_EQ(save(load(photo).get()), photo);
}

TEST_F(JpegSave, MissingFfBytesAreAddedAndFillBytesDropped) {
  EXPECT_EQ(save(load({0xD8, 0xFF, 0xFF, 0xFF, 0xD9}).get()), (Bytes{0xFF, 0xD8, 0xFF, 0xD9}));
}

TEST_F(JpegSave, AnEmptyContainerCannotBeSaved) {
  const JpegDataOwner jpeg(jpeg_data_new());
  uint8_t* block = nullptr;
  uint32_t size = 7;
  EXPECT_EQ(jpeg_data_save_data(jpeg.get(), &block, &size), -1);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(size, 0U);
  EXPECT_EQ(jpeg_data_save_file(jpeg.get(), "/nowhere"), -1);
}

TEST_F(JpegSave, ExifThatGivesNothingLeavesTheMarkerAlone) {
  const JpegDataOwner jpeg =
      load(media_test::photo_with_exif(media_test::exif_bytes({}), {0xFF, 0xD8, 0xFF, 0xD9}));
  const AllocationFault fault(Fault::kExifSave);
  EXPECT_EQ(save(jpeg.get()), (Bytes{0xFF, 0xD8, 0xFF, 0xE1, 0xFF, 0xD9}));
}

TEST_F(JpegSave, AFileStaysWhatItWasWhenItsExifGivesNothing) {
  const media_test::TemporaryFolder folder;
  const std::string path = folder.path("a.JPG");
  const Bytes photo = media_test::photo_with_exif(media_test::exif_bytes({}));
  media_test::write_file(path, photo);
  const JpegDataOwner jpeg = load(photo);
  {
    const AllocationFault fault(Fault::kExifSave);
    EXPECT_EQ(jpeg_data_save_file(jpeg.get(), path.c_str()), -1);
  }
  EXPECT_EQ(media_test::read_file(path), photo);
  EXPECT_EQ(jpeg_data_save_file(jpeg.get(), path.c_str()), 0);
}

TEST_F(JpegSave, AWholeContainerHasAllOfTheFileWhateverMemoryWasMissing) {
  const Bytes photo = media_test::plain_photo();
  for (const Fault kind : {Fault::kRealloc, Fault::kMalloc}) {
    bool struck = true;
    for (int after = 0; struck; after++) {
      JpegDataOwner jpeg;
      {
        const AllocationFault fault(kind, after);
        jpeg = load(photo);
        struck = fault.struck();
      }
      EXPECT_EQ(jpeg_data_is_whole(jpeg.get()), !struck) << after;
      EXPECT_EQ(struck || save(jpeg.get()) == photo, true) << after;
    }
  }
}

TEST_F(JpegSave, AnApp1WithoutContentIsWrittenAsItsMarker) {
  EXPECT_EQ(save(load({0xFF, 0xD8, 0xFF, 0xE1}).get()), (Bytes{0xFF, 0xD8, 0xFF, 0xE1}));
}

TEST_F(JpegSave, ExhaustedMemorySaysHowFarItCame) {
  const JpegDataOwner jpeg = load(media_test::plain_photo());
  uint8_t* block = nullptr;
  uint32_t size = 0;
  const AllocationFault fault(Fault::kRealloc, 3);
  EXPECT_EQ(jpeg_data_save_data(jpeg.get(), &block, &size), -1);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(size, 6U);
}

// EXIF data that libexif saves as exactly `size` bytes.
ExifDataOwner exif_of_size(uint32_t size) {
  for (uint32_t thumbnail = size - 400; thumbnail < size; thumbnail++) {
    ExifDataOwner exif = some_exif();
    exif->data = static_cast<unsigned char*>(std::calloc(thumbnail, 1));
    exif->size = thumbnail;
    uint8_t* block = nullptr;
    unsigned saved = 0;
    exif_data_save_data(exif.get(), &block, &saved);
    std::free(block);
    if (saved == size) return exif;
  }
  return nullptr;
}

TEST_F(JpegSave, ExifOf65533BytesFitsAndOneMoreFailsTheSave) {
  const JpegDataOwner jpeg = load(media_test::plain_photo());
  const ExifDataOwner fits = exif_of_size(65533);
  ASSERT_NE(fits, nullptr);
  jpeg_data_set_exif_data(jpeg.get(), fits.get());
  const Bytes saved = save(jpeg.get());
  ASSERT_EQ(saved.size(), 25U + 4 + 65533);
  EXPECT_EQ(Bytes(saved.begin(), saved.begin() + 12),
            (Bytes{0xFF, 0xD8, 0xFF, 0xE1, 0xFF, 0xFF, 'E', 'x', 'i', 'f', 0, 0}));
  const ExifDataOwner too_big = exif_of_size(65534);
  ASSERT_NE(too_big, nullptr);
  jpeg_data_set_exif_data(jpeg.get(), too_big.get());
  EXPECT_EQ(save(jpeg.get()), Bytes{});
}

TEST_F(JpegSave, FilesAreWrittenPacedAndWhole) {
  const media_test::TemporaryFolder folder;
  Bytes photo = Bytes{0xFF, 0xD8} + segment(0xDA, {1}) + Bytes(40000, 0x55) + Bytes{0xFF, 0xD9};
  EXPECT_EQ(jpeg_data_save_file(load(photo).get(), folder.path("a.JPG").c_str()), 0);
  EXPECT_EQ(media_test::read_file(folder.path("a.JPG")), photo);
  EXPECT_EQ(fake_base::sleeps(), (std::vector<uint64_t>{6000}));
  EXPECT_EQ(jpeg_data_save_file(load(photo).get(), folder.path("no/a.JPG").c_str()), -1);
}

TEST(JpegExif, ReplacesTheFirstApp1) {
  const Bytes one = media_test::exif_bytes({{0x010F, 2, 2, {'1', 0}}});
  const Bytes two = media_test::exif_bytes({{0x010F, 2, 2, {'2', 0}}});
  const JpegDataOwner jpeg =
      load(Bytes{0xFF, 0xD8} + segment(0xE1, one) + segment(0xE1, two) + Bytes{0xFF, 0xD9});
  const ExifDataOwner second_before(jpeg->sections[2].content.exif);
  exif_data_ref(second_before.get());
  const ExifDataOwner exif = some_exif();
  jpeg_data_set_exif_data(jpeg.get(), exif.get());
  EXPECT_EQ(jpeg->count, 4U);
  EXPECT_EQ(jpeg->sections[1].content.exif, exif.get());
  EXPECT_EQ(jpeg->sections[2].content.exif, second_before.get());
  const ExifDataOwner got(jpeg_data_get_exif_data(jpeg.get()));
  EXPECT_EQ(got, exif);
}

TEST(JpegExif, MayBeSetToWhatItIs) {
  const JpegDataOwner jpeg =
      load(media_test::photo_with_exif(media_test::exif_bytes({{0x010F, 2, 2, {'1', 0}}})));
  {
    const ExifDataOwner exif(jpeg_data_get_exif_data(jpeg.get()));
    jpeg_data_set_exif_data(jpeg.get(), exif.get());
  }
  const ExifDataOwner exif(jpeg_data_get_exif_data(jpeg.get()));
  EXPECT_NE(exif_content_get_entry(exif->ifd[EXIF_IFD_0], EXIF_TAG_MAKE), nullptr);
}

TEST(JpegExif, BecomesTheSecondSegmentWhereThereWasNone) {
  const JpegDataOwner jpeg = load(media_test::plain_photo());
  EXPECT_EQ(jpeg_data_get_exif_data(jpeg.get()), nullptr);
  const ExifDataOwner exif = some_exif();
  jpeg_data_set_exif_data(jpeg.get(), exif.get());
  ASSERT_EQ(jpeg->count, 5U);
  const uint32_t markers[] = {0xD8, 0xE1, 0xE0, 0xDA, 0xD9};
  for (uint32_t i = 0; i < 5; i++) EXPECT_EQ(jpeg->sections[i].marker, markers[i]);
  const Bytes app1 = media_test::app1_of(save(jpeg.get()));
  EXPECT_EQ(media_test::fields_of(app1, media_test::Ifd::kZero, 0x010F).at(0).value,
            (Bytes{'A', 'B', 0}));
}

TEST(JpegExif, InAnEmptyContainerOnlyASegmentWithoutMarkerAppears) {
  const JpegDataOwner jpeg(jpeg_data_new());
  const ExifDataOwner exif = some_exif();
  jpeg_data_set_exif_data(jpeg.get(), exif.get());
  ASSERT_EQ(jpeg->count, 1U);
  EXPECT_EQ(jpeg->sections[0].marker, 0U);
  EXPECT_EQ(jpeg_data_get_exif_data(jpeg.get()), nullptr);
}

TEST(JpegExif, ExhaustedMemoryLeavesTheContainer) {
  const JpegDataOwner jpeg = load(media_test::plain_photo());
  const ExifDataOwner exif = some_exif();
  {
    const AllocationFault fault(Fault::kRealloc);
    jpeg_data_set_exif_data(jpeg.get(), exif.get());
  }
  EXPECT_EQ(save(jpeg.get()), media_test::plain_photo());
}

}  // namespace
}  // namespace media
