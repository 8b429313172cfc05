#include "camera/cam_conf.h"

#include "base/shell.h"
#include "base/text.h"

namespace camera {
namespace {

constexpr const char* kCamConfPath = "/pref/cam.conf";

}  // namespace

void cam_conf_remove() {
  char command[250];
  base::format_text(command, "rm %s", kCamConfPath);
  base::run_shell(command);
}

}  // namespace camera
