#include "camera_service/card.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "camera_service/folder_text.h"

namespace camera_service {
namespace {

using camera_service_test::names_in;
using camera_service_test::TemporaryFolder;
using camera_service_test::write_text;

class Cards : public testing::Test {
 protected:
  Cards() : root_(folder_.path("SD0")), card_(root_) {
    std::filesystem::create_directory(root_);
    prepared_ = card_.prepare();
  }

  TemporaryFolder folder_;
  std::string root_;
  Card card_;
  bool prepared_ = false;
};

TEST_F(Cards, PreparingCreatesTheThreeFolders) {
  EXPECT_TRUE(prepared_);
  EXPECT_TRUE(card_.usable());
  EXPECT_EQ(names_in(root_ + "/KRVMEDIA"), "PIC THUMB VIDEO");
}

TEST_F(Cards, FormatErasesEverythingAndCreatesTheFoldersAgain) {
  write_text(root_ + "/KRVMEDIA/PIC/a.JPG", "x");
  write_text(root_ + "/firmware", "x");
  card_.unformat();
  EXPECT_FALSE(card_.usable());
  EXPECT_TRUE(card_.format());
  EXPECT_TRUE(card_.usable());
  EXPECT_EQ(names_in(root_), "KRVMEDIA");
  EXPECT_EQ(names_in(root_ + "/KRVMEDIA"), "PIC THUMB VIDEO");
  EXPECT_EQ(names_in(root_ + "/KRVMEDIA/PIC"), "");
}

TEST_F(Cards, TakingTheCardOutHidesItAndPuttingItInBringsEverythingBack) {
  write_text(root_ + "/KRVMEDIA/PIC/a.JPG", "x");
  EXPECT_TRUE(card_.take_out());
  EXPECT_FALSE(card_.present());
  EXPECT_EQ(names_in(folder_.folder()), "SD0.removed");
  EXPECT_EQ(card_.total_kb(), 0);
  EXPECT_EQ(card_.free_kb(), 0);
  EXPECT_FALSE(card_.take_out());

  EXPECT_TRUE(card_.put_in());
  EXPECT_EQ(names_in(folder_.folder()), "SD0");
  EXPECT_EQ(names_in(root_ + "/KRVMEDIA/PIC"), "a.JPG");
  EXPECT_FALSE(card_.put_in());
}

TEST_F(Cards, CardThatWasLeftOutIsTakenUpAtStart) {
  write_text(root_ + "/KRVMEDIA/PIC/a.JPG", "x");
  ASSERT_TRUE(card_.take_out());
  Card next(root_);
  EXPECT_TRUE(next.prepare());
  EXPECT_EQ(names_in(root_ + "/KRVMEDIA/PIC"), "a.JPG");
}

TEST_F(Cards, FillingALargeCardIsPretended) {
  ASSERT_GT(card_.free_kb(), 3 << 20) << "this test needs 3 GiB of free space below /tmp";
  EXPECT_TRUE(card_.fill(700));
  EXPECT_TRUE(card_.pretends());
  EXPECT_EQ(card_.free_kb(), 700);
  card_.unfill();
  EXPECT_GT(card_.free_kb(), 3 << 20);
}

TEST_F(Cards, FillingLeavesWhatWasAskedFor) {
  const int64_t before = card_.free_kb();
  ASSERT_TRUE(card_.fill(before - 20 * 1024));
  EXPECT_FALSE(card_.pretends());
  EXPECT_EQ(names_in(root_), ".fill KRVMEDIA");
  card_.unfill();
  EXPECT_EQ(names_in(root_), "KRVMEDIA");
}

TEST(CardFolder, WithoutAFolderThereIsNoCardUntilOneIsPutIn) {
  const TemporaryFolder folder;
  Card card(folder.path("SD0"));
  EXPECT_TRUE(card.prepare());
  EXPECT_FALSE(card.present());
  EXPECT_EQ(names_in(folder.folder()), "");
  EXPECT_FALSE(card.take_out());

  EXPECT_TRUE(card.put_in());
  EXPECT_TRUE(card.usable());
  EXPECT_EQ(names_in(folder.path("SD0/KRVMEDIA")), "PIC THUMB VIDEO");
}

TEST(CardFolder, FolderNearTheRootIsRefused) {
  EXPECT_THROW(Card("/"), std::invalid_argument);
  EXPECT_THROW(Card("/home/"), std::invalid_argument);
  EXPECT_THROW(Card("/tmp/../home"), std::invalid_argument);
  EXPECT_NO_THROW(Card("/tmp/SD0/"));
}

}  // namespace
}  // namespace camera_service
