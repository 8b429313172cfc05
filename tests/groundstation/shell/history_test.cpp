#include "groundstation/shell/history.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "groundstation/run_program.h"

namespace groundstation_test {
namespace {

using groundstation::HistoryFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(History, IsKeptFromSessionToSession) {
  const std::string path = temporary_path("state") + "/groundstation/history";
  {
    HistoryFile history(path);
    EXPECT_THAT(history.lines(), IsEmpty());
    history.add("photo");
    history.add("photo");
    history.add("");
    history.add("set iso 400");
  }
  EXPECT_THAT(HistoryFile(path).lines(), ElementsAre("photo", "set iso 400"));
  struct stat file {};
  ASSERT_EQ(::stat(path.c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777, 0600U);
}

TEST(History, OfTwoSessionsAtATimeIsWhole) {
  const std::string path = temporary_path("state") + "/history";
  HistoryFile one(path);
  HistoryFile other(path);
  one.add("photo");
  other.add("status");
  EXPECT_THAT(HistoryFile(path).lines(), ElementsAre("photo", "status"));
}

TEST(History, HoldsTheNewestLines) {
  const std::string path = temporary_path("history");
  std::ofstream file(path);
  for (size_t i = 0; i <= 2 * HistoryFile::kMostLines; i++) file << "line " << i << "\n";
  file.close();
  const HistoryFile history(path);
  ASSERT_EQ(history.lines().size(), HistoryFile::kMostLines);
  EXPECT_EQ(history.lines().back(), "line 2000");
  // The file does not grow for ever.
  const std::string text = read_file(path);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1000);
}

TEST(History, WithoutAFileIsThatOfTheSession) {
  for (const char* path : {"", "/proc/no/such/history"}) {
    HistoryFile history(path);
    history.add("photo");
    EXPECT_THAT(history.lines(), ElementsAre("photo"));
  }
}

TEST(History, LiesInTheUsersStateFolder) {
  ::setenv("XDG_STATE_HOME", "/state", 1);
  EXPECT_EQ(groundstation::history_path(), "/state/groundstation/history");
  ::unsetenv("XDG_STATE_HOME");
  ::setenv("HOME", "/home/somebody", 1);
  EXPECT_EQ(groundstation::history_path(), "/home/somebody/.local/state/groundstation/history");
  ::unsetenv("HOME");
  EXPECT_EQ(groundstation::history_path(), "");
}

}  // namespace
}  // namespace groundstation_test
