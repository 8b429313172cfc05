// Saving and removing the settings file: what the shell is asked to do.
#include "camera/settings_file.h"

#include "camera/camera_rig.h"
#include "camera/settings_table.h"

namespace camera_test {
namespace {

using namespace camera;  // NOLINT

class CamConf : public CameraTest {
 protected:
  CamConfOwner owner_{};
};

TEST_F(CamConf, IsRemovedThroughTheShell) {
  cam_conf_remove();
  EXPECT_EQ(timeline(), Timeline{"run rm /pref/cam.conf"});
}

TEST_F(CamConf, DefaultsAreNotWritten) {
  EXPECT_EQ(cam_conf_save(&owner_), 0);
  EXPECT_EQ(timeline(), Timeline{"run rm /pref/cam.conf"});
}

TEST_F(CamConf, ConfirmedValuesAreWritten) {
  confirm(kColorStyle, 2);
  request(kWhiteBalance, 2);
  confirm(kWhiteBalance, 1);
  EXPECT_EQ(cam_conf_save(&owner_), 0);
  EXPECT_EQ(timeline(), (Timeline{"run rm /pref/cam.conf", "run echo colstyle=2 >> /pref/cam.conf",
                                  "run echo wblance=1 >> /pref/cam.conf"}));
}

TEST_F(CamConf, OnlyWhatDiffersFromTheBaselineIsWritten) {
  owner_.baseline_color_style = 2;
  owner_.baseline_white_balance = 2;
  confirm(kColorStyle, 2);
  confirm(kWhiteBalance, 0);
  EXPECT_EQ(cam_conf_save(&owner_), 0);
  EXPECT_EQ(timeline(),
            (Timeline{"run rm /pref/cam.conf", "run echo wblance=0 >> /pref/cam.conf"}));
}

TEST_F(CamConf, NothingIsSavedWhileLoading) {
  owner_.loading.store(1);
  confirm(kColorStyle, 2);
  (void)cam_conf_save(&owner_);
  EXPECT_EQ(timeline(), Timeline{});
}

TEST_F(CamConf, WithoutAnOwnerNothingIsSaved) {
  confirm(kColorStyle, 2);
  EXPECT_EQ(cam_conf_save(nullptr), -1);
  EXPECT_EQ(timeline(), Timeline{});
}

TEST_F(CamConf, LoadingSoonStartsOneThreadOfItsOwn) {
  cam_conf_load_soon();
  const auto threads = fake_base::threads();
  ASSERT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads[0].priority, 0);
  EXPECT_EQ(timeline(), Timeline{});
}

}  // namespace
}  // namespace camera_test
