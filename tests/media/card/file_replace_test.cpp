#include "media/card/file_replace.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "fake_base/fake_base.h"
#include "support/photo.h"

namespace media {
namespace {

using media_test::names_in;
using media_test::read_file;
using Names = std::vector<std::string>;

// Files can grow to `bytes` only while it lives: the full card of a test without a card.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &old_);
    const rlimit limit{bytes, old_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &old_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit old_{};
};

class FileReplace : public fake_base::FakeBaseTest {
 protected:
  [[nodiscard]] int32_t replace(const std::string& path, const Bytes& bytes) const {
    return media_replace_file(path.c_str(), bytes.data(), bytes.size());
  }

  media_test::TemporaryFolder folder;
};

TEST_F(FileReplace, MakesANewFile) {
  EXPECT_EQ(replace(folder.path("a.JPG"), text_bytes("new")), 0);
  EXPECT_EQ(read_file(folder.path("a.JPG")), text_bytes("new"));
  EXPECT_EQ(names_in(folder.folder()), Names{"a.JPG"});
}

TEST_F(FileReplace, TakesThePlaceOfAFileWithItsMode) {
  media_test::write_file(folder.path("a.JPG"), text_bytes("old and longer"));
  chmod(folder.path("a.JPG").c_str(), 0640);
  EXPECT_EQ(replace(folder.path("a.JPG"), Bytes(700000, 7)), 0);
  EXPECT_EQ(read_file(folder.path("a.JPG")), Bytes(700000, 7));
  struct stat status {};
  ASSERT_EQ(stat(folder.path("a.JPG").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
  EXPECT_EQ(fake_base::sleeps(), (std::vector<uint64_t>{6000, 6000}));
}

TEST_F(FileReplace, AFullCardLeavesTheOldFileAndNoOther) {
  media_test::write_file(folder.path("a.JPG"), text_bytes("old"));
  for (const rlim_t room : {0UL, 10UL, 40000UL, 99999UL}) {
    const FileSizeLimit limit(room);
    EXPECT_EQ(replace(folder.path("a.JPG"), Bytes(100000, 7)), -1) << room;
    EXPECT_EQ(replace(folder.path("b.JPG"), Bytes(100000, 7)), -1) << room;
  }
  EXPECT_EQ(read_file(folder.path("a.JPG")), text_bytes("old"));
  EXPECT_EQ(names_in(folder.folder()), Names{"a.JPG"});
}

TEST_F(FileReplace, TheTemporaryFileIsMarkedAsUnfinished) {
  Names during;
  fake_base::on_sleep([&](uint64_t) { during = names_in(folder.folder()); });
  EXPECT_EQ(replace(folder.path("a.JPG"), Bytes(32768)), 0);
  ASSERT_EQ(during.size(), 1U);
  EXPECT_NE(during[0].find("AA.MP4"), std::string::npos);
}

TEST_F(FileReplace, ALeftoverOfAPowerCutIsOverwritten) {
  Names during;
  fake_base::on_sleep([&](uint64_t) { during = names_in(folder.folder()); });
  EXPECT_EQ(replace(folder.path("a.JPG"), Bytes(32768)), 0);
  media_test::write_file(folder.path("outside"), text_bytes("mine"));
  ASSERT_EQ(symlink("outside", folder.path(during.at(0)).c_str()), 0);
  EXPECT_EQ(replace(folder.path("a.JPG"), text_bytes("x")), 0);
  EXPECT_EQ(read_file(folder.path("a.JPG")), text_bytes("x"));
  EXPECT_EQ(read_file(folder.path("outside")), text_bytes("mine"));
  EXPECT_EQ(names_in(folder.folder()), (Names{"a.JPG", "outside"}));
}

TEST_F(FileReplace, RefusesWhatIsNoRegularFile) {
  mkdir(folder.path("d").c_str(), 0777);
  mkfifo(folder.path("p").c_str(), 0666);
  EXPECT_EQ(replace(folder.path("d"), text_bytes("x")), -1);
  EXPECT_EQ(replace(folder.path("p"), text_bytes("x")), -1);
  EXPECT_EQ(replace(folder.path("missing/a"), text_bytes("x")), -1);
  EXPECT_EQ(replace("/tmp/" + std::string(300, 'a') + "/x", text_bytes("x")), -1);
  EXPECT_EQ(media_replace_file(nullptr, "x", 1), -1);
  EXPECT_EQ(media_replace_file(folder.path("n").c_str(), nullptr, 1), -1);
  EXPECT_EQ(names_in(folder.folder()), (Names{"d", "p"}));
}

}  // namespace
}  // namespace media
