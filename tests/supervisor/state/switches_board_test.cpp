// The marker files on the card of a board. What the commands would remove is tested beside this one
// with the real shell.
#include "supervisor/state/switches.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "fake_base/fake_base.h"

namespace supervisor {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MarkerFilesBoard : public fake_base::FakeBaseTest {
 protected:
  MarkerFilesBoard() {
    std::filesystem::remove("/tmp/SD0/20M.txt");
    std::filesystem::remove_all("/tmp/SD0/KRVMEDIA");
    std::filesystem::create_directories("/tmp/SD0/KRVMEDIA");
    switches.reset();
  }
  static void put(const char* path) { std::ofstream(path) << ""; }
};

TEST_F(MarkerFilesBoard, ACardWithoutMarkersChangesNothing) {
  read_marker_files();
  EXPECT_EQ(get_test_mode(), 0);
  EXPECT_EQ(get_marker_20m(), 0);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(MarkerFilesBoard, AMissingCardChangesNothing) {
  std::filesystem::remove_all("/tmp/SD0/KRVMEDIA");
  read_marker_files();
  EXPECT_EQ(get_test_mode(), 0);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(MarkerFilesBoard, TheTestMarkerEmptiesBothFoldersWithPauses) {
  put("/tmp/SD0/KRVMEDIA/testmode.conf");
  read_marker_files();
  EXPECT_EQ(get_test_mode(), 1);
  EXPECT_EQ(get_marker_20m(), 0);
  EXPECT_THAT(fake_base::events(), ElementsAre("run rm /tmp/SD0/KRVMEDIA/VIDEO/*", "sleep 2000000",
                                               "run rm /tmp/SD0/KRVMEDIA/PIC/*", "sleep 1000000"));
}

TEST_F(MarkerFilesBoard, TheAutomaticRecordingMarkerHasNoEffect) {
  put("/tmp/SD0/KRVMEDIA/autorec.conf");
  read_marker_files();
  EXPECT_EQ(get_test_mode(), 0);
  EXPECT_THAT(fake_base::events(), IsEmpty());
  put("/tmp/SD0/KRVMEDIA/testmode.conf");
  read_marker_files();
  EXPECT_EQ(fake_base::events().size(), 4U);
}

TEST_F(MarkerFilesBoard, The20MMarkerSetsItsSwitchOnly) {
  put("/tmp/SD0/20M.txt");
  read_marker_files();
  EXPECT_EQ(get_marker_20m(), 1);
  EXPECT_EQ(get_test_mode(), 0);
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(MarkerFilesBoard, BothMarkersSetBothSwitches) {
  put("/tmp/SD0/20M.txt");
  put("/tmp/SD0/KRVMEDIA/testmode.conf");
  read_marker_files();
  EXPECT_EQ(get_marker_20m(), 1);
  EXPECT_EQ(get_test_mode(), 1);
}

}  // namespace
}  // namespace supervisor
