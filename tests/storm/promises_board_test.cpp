// That the checks notice what they are there for: on a board that is well, and after each harm that is
// done to it behind the program's back.
#include "storm/promises.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "support/board_files.h"

namespace storm {
namespace {

using ::testing::HasSubstr;
namespace fs = std::filesystem;

class Promises : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    board = std::make_unique<Board>(BoardOptions{});
    ASSERT_TRUE(board->ready(seconds(120)));
    ASSERT_EQ(comes_to_rest(*board), "");
    ASSERT_EQ(takes_a_photo(*board, 5, &photo), "");
  }
  static void TearDownTestSuite() { board.reset(); }

  // What the check says while a file has other contents, or none.
  static std::string with_changed(const std::string& path, std::string (*check)(Board&)) {
    const std::string content = support::read_file(path);
    support::write_file(path, content.substr(0, content.size() / 2));
    std::string why = check(*board);
    support::write_file(path, content);
    EXPECT_EQ(check(*board), "") << "put right again";
    return why;
  }

  static inline std::unique_ptr<Board> board;
  static inline std::string photo;
};

TEST_F(Promises, HoldOnABoardThatIsWell) {
  const auto broken = check_promises(*board, {.salt = 77, .memory_limit = 0});
  EXPECT_FALSE(broken) << broken->promise << ": " << broken->why;
}

TEST_F(Promises, NoticeAPhotoThatIsCutOrGone) {
  const std::string path = support::kPictures + photo;
  EXPECT_THAT(with_changed(path, keeps_what_was_written), HasSubstr("photo"));
  const std::string picture = picture_of(path);
  fs::rename(path, "/tmp/SD0/KRVMEDIA/aside");
  EXPECT_THAT(keeps_what_was_written(*board), HasSubstr("is lost"));
  board->deleted.insert(picture);
  EXPECT_EQ(keeps_what_was_written(*board), "") << "a client has deleted it";
  board->deleted.clear();
  fs::rename("/tmp/SD0/KRVMEDIA/aside", support::kPictures + std::string("renamed.JPG"));
  EXPECT_EQ(keeps_what_was_written(*board), "") << "under another name";
  fs::rename(support::kPictures + std::string("renamed.JPG"), path);
}

TEST_F(Promises, NoticeFirmwareThatIsNeitherOldNorNew) {
  EXPECT_THAT(with_changed("/tmp/SD0/AmbaSysFW.bin", keeps_firmware_whole), HasSubstr("neither"));
  EXPECT_THAT(with_changed("/tmp/SD0/holiday.txt", keeps_firmware_whole), HasSubstr("holiday"));
}

TEST_F(Promises, NoticeFilesThatDoNotBelongThere) {
  for (const char* path : {"/etc/new", "/tmp/new", "/tmp/SD0/new"}) {
    support::write_file(path, "x");
    EXPECT_THAT(lets_nobody_in(*board), HasSubstr("new")) << path;
    fs::remove(path);
  }
  EXPECT_EQ(lets_nobody_in(*board), "");
}

TEST_F(Promises, NoticeMemory) {
  EXPECT_EQ(stays_small(*board, 0), "");
  EXPECT_THAT(stays_small(*board, 1), HasSubstr("KB of memory"));
}

}  // namespace
}  // namespace storm
