#include "media/card/list.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/allocation_fault.h"
#include "support/photo.h"

namespace media {
namespace {

using media_test::TemporaryFolder;
using support::AllocationFault;
using support::Fault;

class MediaList : public ::testing::Test {
 protected:
  ~MediaList() override { media_list_free(&head); }

  void append(const char* name, const std::string& path = "/nowhere") {
    ASSERT_EQ(media_list_append(media_node_new(1, name, path.c_str()), &head), 0);
  }

  [[nodiscard]] std::string names() const {
    std::string text;
    for (const MediaFileNode* node = head; node != nullptr; node = node->next) {
      text += std::string(node->name) + " ";
    }
    return text;
  }

  // A file of that name in the folder, and a node of it behind one of "a".
  std::string append_a_and_file(const char* name) {
    std::string path = folder.path(name);
    media_test::write_file(path, {1});
    append("a");
    append(name, path);
    return path;
  }

  MediaListHead head{nullptr};
  TemporaryFolder folder;
};

TEST_F(MediaList, AppendKeepsTheOrder) {
  append("a");
  append("b");
  append("c");
  EXPECT_EQ(names(), "a b c ");
  EXPECT_EQ(media_list_count(&head), 3);
}

TEST_F(MediaList, AnEmptyListHasNoCountAndNothingToFree) {
  EXPECT_EQ(media_list_count(&head), -1);
  EXPECT_EQ(media_list_count(nullptr), -1);
  EXPECT_EQ(media_list_free(&head), -1);
  EXPECT_EQ(media_list_free(nullptr), -1);
  EXPECT_EQ(media_list_append(nullptr, &head), -1);
  append("a");
  EXPECT_EQ(media_list_free(&head), 0);
  EXPECT_EQ(media_list_count(&head), -1);
}

TEST_F(MediaList, FindIsExactAndCaseSensitive) {
  append("a.JPG");
  append("b.JPG", "/first");
  append("b.JPG", "/second");
  ASSERT_NE(media_list_find("b.JPG", &head), nullptr);
  EXPECT_STREQ(media_list_find("b.JPG", &head)->path, "/first");
  EXPECT_EQ(media_list_find("B.JPG", &head), nullptr);
  EXPECT_EQ(media_list_find("b.JP", &head), nullptr);
  EXPECT_EQ(media_list_find(nullptr, &head), nullptr);
  EXPECT_EQ(media_list_find("a.JPG", nullptr), nullptr);
}

TEST_F(MediaList, UnlinkTakesTheFirstOfTheNameAndLeavesTheFile) {
  EXPECT_EQ(media_list_unlink("a", &head), -1) << "an empty list";
  const std::string path = append_a_and_file("b");
  append("b");
  append("c");
  EXPECT_EQ(media_list_unlink(nullptr, &head), -1);
  EXPECT_EQ(media_list_unlink("x", &head), 0);
  EXPECT_EQ(media_list_unlink("b", &head), 0);
  EXPECT_EQ(names(), "a b c ");
  EXPECT_EQ(media_list_unlink("a", &head), 0);
  EXPECT_EQ(media_list_unlink("c", &head), 0);
  EXPECT_EQ(names(), "b ");
  EXPECT_EQ(media_list_unlink("b", &head), 0);
  EXPECT_EQ(names(), "");
  EXPECT_TRUE(media_test::exists(path));
}

TEST_F(MediaList, DeleteRemovesFileAndNode) {
  EXPECT_EQ(media_list_delete("b", &head), -1) << "an empty list";
  const std::string path = append_a_and_file("b");
  EXPECT_EQ(media_list_delete(nullptr, &head), -1);
  EXPECT_EQ(media_list_delete("x", &head), 0);
  EXPECT_EQ(media_list_delete("b", &head), 0);
  EXPECT_EQ(names(), "a ");
  EXPECT_FALSE(media_test::exists(path));
}

TEST_F(MediaList, AFileThatCannotBeRemovedKeepsItsNode) {
  append("gone", folder.path("gone"));
  append("folder", folder.folder());
  EXPECT_EQ(media_list_delete("gone", &head), -1);
  EXPECT_EQ(media_list_delete("folder", &head), -1);
  EXPECT_EQ(names(), "gone folder ");
}

TEST_F(MediaList, TextsAreCutAndTerminated) {
  append(std::string(60, 'n').c_str(), std::string(300, 'p'));
  const MediaFileNode* node = head;
  EXPECT_EQ(node->name, std::string(49, 'n'));
  EXPECT_EQ(node->path, std::string(199, 'p'));
  EXPECT_EQ(node->type, 1);
}

TEST_F(MediaList, ScanListsRegularFilesThatAreFinished) {
  media_test::write_file(folder.path("x.MP4"), {1});
  media_test::write_file(folder.path("yAA.MP4"), {1});
  media_test::write_file(folder.path("AA.MP4.JPG"), {1});
  media_test::write_file(folder.path("note.txt"), {});
  mkdir(folder.path("d.JPG").c_str(), 0777);
  ASSERT_EQ(symlink("x.MP4", folder.path("l.MP4").c_str()), 0);
  const MediaFileNode* last = media_scan_dir(folder.folder().c_str(), &head);
  EXPECT_EQ(media_list_count(&head), 2);
  const MediaFileNode* node = media_list_find("x.MP4", &head);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->type, 8);
  EXPECT_EQ(node->path, folder.path("x.MP4"));
  EXPECT_NE(media_list_find("note.txt", &head), nullptr);
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(last->next, nullptr);
}

TEST_F(MediaList, ScanCutsLongNames) {
  media_test::write_file(folder.path(std::string(80, 'a')), {1});
  ASSERT_NE(media_scan_dir(folder.folder().c_str(), &head), nullptr);
  EXPECT_EQ(head.load()->name, std::string(49, 'a'));
  EXPECT_EQ(head.load()->path, folder.path(std::string(80, 'a')));
}

TEST_F(MediaList, ScanOfNothingGivesNothing) {
  EXPECT_EQ(media_scan_dir(folder.path("missing").c_str(), &head), nullptr);
  EXPECT_EQ(media_scan_dir(folder.folder().c_str(), &head), nullptr);
  EXPECT_EQ(media_scan_dir(nullptr, &head), nullptr);
  EXPECT_EQ(media_scan_dir(folder.folder().c_str(), nullptr), nullptr);
  EXPECT_EQ(media_list_count(&head), -1);
}

TEST_F(MediaList, ScanRefusesAListThatIsNotEmpty) {
  media_test::write_file(folder.path("x.MP4"), {1});
  append("a");
  EXPECT_EQ(media_scan_dir(folder.folder().c_str(), &head), nullptr);
  EXPECT_EQ(names(), "a ");
}

TEST_F(MediaList, ScanStopsWhenMemoryRunsOutAndKeepsWhatItHas) {
  for (const char* name : {"a", "b", "c"}) media_test::write_file(folder.path(name), {1});
  const AllocationFault fault(Fault::kNew, 2);
  const MediaFileNode* last = media_scan_dir(folder.folder().c_str(), &head);
  EXPECT_EQ(media_list_count(&head), 2);
  EXPECT_EQ(head.load()->next, last);
}

TEST_F(MediaList, FileSizeAndExistence) {
  media_test::write_file(folder.path("a"), media_test::Bytes(1234));
  EXPECT_EQ(media_file_size(folder.path("a").c_str()), 1234U);
  EXPECT_EQ(media_file_size(folder.path("b").c_str()), 0xFFFFFFFFFFFFFFFFU);
  EXPECT_EQ(media_file_size(nullptr), 0xFFFFFFFFFFFFFFFFU);
  EXPECT_EQ(media_file_exists(folder.path("a").c_str()), 1);
  EXPECT_EQ(media_file_exists(folder.path("b").c_str()), 0);
  EXPECT_EQ(media_file_exists(nullptr), 0);
}

}  // namespace
}  // namespace media
