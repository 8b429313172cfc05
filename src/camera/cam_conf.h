// The camera settings file.
#pragma once

namespace camera {

// Removes "/pref/cam.conf" through the shell. Any thread.
void cam_conf_remove();

}  // namespace camera
