#include "camera_service/media_name.h"

#include <filesystem>
#include <set>
#include <system_error>

namespace camera_service {
namespace {

constexpr size_t kStampLength = 15;

std::string local_text(std::time_t at, const char* format) {
  std::tm parts{};
  ::localtime_r(&at, &parts);
  char text[32];
  const size_t length = std::strftime(text, sizeof text, format, &parts);
  return {text, length};
}

}  // namespace

MediaName new_media_name(const std::string& folder, std::time_t at) {
  std::set<std::string> taken;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    taken.insert(entry->path().filename().string().substr(0, kStampLength));
  }
  std::string stamp = local_text(at, "%Y%m%d_%H%M%S");
  while (taken.count(stamp) != 0) stamp = local_text(++at, "%Y%m%d_%H%M%S");
  return {stamp, local_text(at, "%Y:%m:%d %H:%M:%S")};
}

}  // namespace camera_service
