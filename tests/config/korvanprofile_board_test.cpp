// The profile in its fixed place, changed by the real shell.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "base/clock.h"
#include "config/conf_file.h"
#include "config/korvanprofile.h"

namespace {

using namespace config;
using namespace config_test;

constexpr const char* kProfile = "/korvan.conf";

class KorvanProfileBoard : public ::testing::Test {
 protected:
  ~KorvanProfileBoard() override {
    profile_release();
    std::filesystem::remove_all(kProfile);
  }
};

TEST_F(KorvanProfileBoard, IsReadFromItsPlace) {
  write_file(kProfile, "ModelName=FALK2\nWifiChannel=11\n");
  EXPECT_EQ(CclInit(), 0);
  EXPECT_EQ(profile_pair_count(), 2U);
  EXPECT_STREQ(profile_get("ModelName"), "FALK2");
  EXPECT_STREQ(profile_get("WifiChannel"), "11");
}

TEST_F(KorvanProfileBoard, SettingTheWifiChannelRemovesItsLines) {
  write_file(kProfile,
             "# profile\nModelName=FALK2\nWifiChannel=11\nOldWifiChannel=1\nTitle=\"x\"\n");
  EXPECT_EQ(CclInit(), 0);
  EXPECT_EQ(profile_pair_count(), 4U);
  ProfileCopy before = profile_shared_copy();
  const uint64_t begin = base::monotonic_us();
  EXPECT_EQ(set_wifi_channel(6), 0);
  EXPECT_GE(base::monotonic_us() - begin, 20000U);
  EXPECT_EQ(read_file(kProfile), "# profile\nModelName=FALK2\nTitle=\"x\"\n");
  EXPECT_EQ(profile_get("WifiChannel"), nullptr);
  EXPECT_STREQ(profile_get("ModelName"), "FALK2");
  EXPECT_EQ(profile_pair_count(), 2U);
  EXPECT_EQ(
      walk(&before.handle),
      (Pairs{
          {"ModelName", "FALK2"}, {"OldWifiChannel", "1"}, {"Title", "x"}, {"WifiChannel", "11"}}));
}

TEST_F(KorvanProfileBoard, AMissingProfileIsEmptyAndIsNotMade) {
  unlink(kProfile);
  EXPECT_EQ(set_wifi_channel(6), 0);
  EXPECT_EQ(profile_pair_count(), 0U);
  EXPECT_FALSE(std::filesystem::exists(kProfile));
}

TEST_F(KorvanProfileBoard, AFolderInItsPlaceIsEmpty) {
  std::filesystem::remove_all(kProfile);
  std::filesystem::create_directory(kProfile);
  EXPECT_EQ(CclInit(), 0);
  EXPECT_EQ(profile_pair_count(), 0U);
  EXPECT_EQ(profile_get("ModelName"), nullptr);
}

}  // namespace
