// The camera settings file "/pref/cam.conf": the two settings that the camera service forgets.
//
// Lines "colstyle=N" and "wblance=N". Only values that differ from the baseline of 0 are written.
#pragma once

#include <atomic>
#include <cstdint>

namespace camera {

// Who loads and saves the file; zero-initialise.
struct CamConfOwner {
  std::atomic<int32_t> loading;  // 1 while the file is being read: nothing is saved then
  int32_t baseline_color_style;
  int32_t baseline_white_balance;
};

extern CamConfOwner cam_conf_owner;

// Reads the file and gives each setting to the camera, 500 ms apart. Returns 0; -1 when it cannot
// be opened, after "Could not open config file: %s" on the error stream (normal on a new board).
int32_t cam_conf_load(CamConfOwner* owner);
// Writes the file anew through the shell. Returns 0; -1 without an owner. Nothing while loading.
int32_t cam_conf_save(CamConfOwner* owner);
// Removes the file through the shell.
void cam_conf_remove();

// Loads the file on a thread of its own, which may block while the camera answers.
void cam_conf_load_soon();

}  // namespace camera
