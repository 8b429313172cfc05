#include "media/photo/exif_entries.h"

#include <gtest/gtest.h>

#include "media/photo/jpeg_data.h"
#include "support/allocation_fault.h"
#include "support/photo.h"

namespace media {
namespace {

using support::AllocationFault;
using support::Fault;

constexpr auto kLatitude = static_cast<ExifTag>(2);

Bytes data_of(const ExifEntry* entry) { return {entry->data, entry->data + entry->size}; }

class ExifEntries : public ::testing::Test {
 protected:
  ExifDataOwner exif{exif_data_new()};
  ExifContent* gps = exif->ifd[EXIF_IFD_GPS];
};

TEST_F(ExifEntries, InitTagMakesTheDefaultEntryOnce) {
  ExifEntry* make = init_tag(exif.get(), EXIF_IFD_0, EXIF_TAG_MAKE);
  EXPECT_EQ(data_of(make), (Bytes{'[', 'N', 'o', 'n', 'e', ']', 0}));
  EXPECT_EQ(make->format, EXIF_FORMAT_ASCII);
  EXPECT_EQ(make->components, 7U);
  EXPECT_EQ(init_tag(exif.get(), EXIF_IFD_0, EXIF_TAG_MAKE), make);
  EXPECT_EQ(exif->ifd[EXIF_IFD_0]->count, 1U);
  ExifEntry* time = init_tag(exif.get(), EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL);
  EXPECT_EQ(time->size, 20U);
  EXPECT_EQ(exif->ifd[EXIF_IFD_EXIF]->count, 1U);
}

TEST_F(ExifEntries, CreateTagMakesZeroBytes) {
  const ExifEntry* entry = create_tag(exif.get(), kLatitude, 24);
  EXPECT_EQ(entry->tag, kLatitude);
  EXPECT_EQ(entry->format, EXIF_FORMAT_UNDEFINED);
  EXPECT_EQ(entry->components, 24U);
  EXPECT_EQ(data_of(entry), Bytes(24));
  EXPECT_EQ(entry->parent, gps);
  EXPECT_EQ(gps->count, 1U);
}

TEST_F(ExifEntries, AnEntryOfTheSameSizeStaysInFront) {
  const ExifEntry* old_entry = create_tag(exif.get(), kLatitude, 24);
  const ExifEntry* new_entry = create_tag(exif.get(), kLatitude, 24);
  ASSERT_EQ(gps->count, 2U);
  EXPECT_EQ(gps->entries[0], old_entry);
  EXPECT_EQ(gps->entries[1], new_entry);
  EXPECT_EQ(gps->entries[1]->tag, kLatitude);
}

TEST_F(ExifEntries, AnEntryOfAnotherSizeGoes) {
  (void)create_tag(exif.get(), kLatitude, 23);
  const ExifEntry* entry = create_tag(exif.get(), kLatitude, 24);
  ASSERT_EQ(gps->count, 1U);
  EXPECT_EQ(gps->entries[0], entry);
}

TEST_F(ExifEntries, ATagNumberThatIsTakenIsNotUsedInBetween) {
  const ExifEntry* highest = create_tag(exif.get(), static_cast<ExifTag>(0xFFFF), 1);
  const ExifEntry* entry = create_tag(exif.get(), kLatitude, 24);
  ASSERT_EQ(gps->count, 2U);
  EXPECT_EQ(highest->tag, static_cast<ExifTag>(0xFFFF));
  EXPECT_EQ(entry->tag, kLatitude);
}

using ExifEntriesDeathTest = ExifEntries;

TEST_F(ExifEntriesDeathTest, AnEntryThatCannotBeMadeEndsTheProcessWithTheAssertion) {
  const auto init = [this](Fault fault) {
    const AllocationFault armed(fault);
    (void)init_tag(exif.get(), EXIF_IFD_0, EXIF_TAG_MAKE);
  };
  const auto create = [this](Fault fault) {
    const AllocationFault armed(fault);
    (void)create_tag(exif.get(), kLatitude, 24);
  };
  EXPECT_DEATH(init(Fault::kExifEntryNew),
               R"(exif:31: init_tag: Assertion `entry != \(\(void \*\)0\)' failed)");
  EXPECT_DEATH(create(Fault::kExifMemNew),
               R"(exif:50: create_tag: Assertion `mem != \(\(void \*\)0\)' failed)");
  EXPECT_DEATH(create(Fault::kExifEntryNewMem),
               R"(exif:53: create_tag: Assertion `entry != \(\(void \*\)0\)' failed)");
  EXPECT_DEATH(create(Fault::kExifMemAlloc),
               R"(exif:56: create_tag: Assertion `buf != \(\(void \*\)0\)' failed)");
}

}  // namespace
}  // namespace media
