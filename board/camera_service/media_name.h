// Names of new media files: "YYYYMMDD_HHMMSS" in local time, followed by "AA" while the file is
// being written and "AB" once it is complete.
#pragma once

#include <ctime>
#include <string>

namespace camera_service {

struct MediaName {
  std::string stamp;      // 20200101_120000
  std::string exif_time;  // 2020:01:01 12:00:00, the same instant

  [[nodiscard]] std::string working(const char* suffix) const { return stamp + "AA" + suffix; }
  [[nodiscard]] std::string complete(const char* suffix) const { return stamp + "AB" + suffix; }
};

// A name for a file of that second, or of the first later second for which `folder` has no file
// whose name begins with the stamp: a photo that was renamed behind its stamp keeps the stamp
// taken.
[[nodiscard]] MediaName new_media_name(const std::string& folder, std::time_t at);

}  // namespace camera_service
