#include "flightlink/actions/media_message.h"

#include <algorithm>
#include <cstring>

#include "base/mutex.h"
#include "base/shell.h"
#include "base/text.h"
#include "flightlink/frame/payload.h"
#include "media/card/names.h"
#include "media/card/store.h"
#include "media/photo/exif.h"
#include "supervisor/state/switches.h"

namespace flightlink {
namespace {

constexpr uint8_t kKindFile = 3;
constexpr size_t kFieldSize = 120;

// A text of the payload, cut and terminated.
void take_text(const uint8_t* from, char (&to)[kFieldSize]) {
  const auto* text = reinterpret_cast<const char*>(from);
  const size_t length = std::min(strnlen(text, kFieldSize), kFieldSize - 1);
  std::memcpy(to, text, length);
  to[length] = '\0';
}

void register_file(const char* name) {
  const base::Lock lock(media::media_store.lock);
  media::media_register_new_file(name);
}

void move_test_file(const char* name, int32_t kind) {
  char command[400];
  if (kind == media::MEDIA_VIDEO) {
    base::format_text(command, "mv %s/%s %s/test.mp4", media::kVideoFolder, name,
                      media::kVideoFolder);
  } else if (kind == media::MEDIA_PHOTO) {
    base::format_text(command, "mv %s/%s %s/test.jpg", media::kPhotoFolder, name,
                      media::kPhotoFolder);
  } else {
    return;
  }
  base::run_shell(command);
}

void new_video(const char* name) {
  char path[200];
  base::format_text(path, "%s/%s", media::kVideoFolder, name);
  if (media::media_file_exists(path) == 1) register_file(name);
  // The test flag is read again: it may have come up while the file was looked at.
  if (supervisor::get_test_mode() == 0) return;
  base::run_shell("rm /tmp/SD0/KRVMEDIA/VIDEO/*AB.MP4");
  base::run_shell("mv /tmp/SD0/KRVMEDIA/VIDEO/*AA.MP4 /tmp/SD0/KRVMEDIA/VIDEO/test.mp4");
}

}  // namespace

int media_file_message(const MavlinkMessage* message) {
  if (message == nullptr) return -1;
  const Payload payload(*message);
  if (payload.bytes[1] != kKindFile && payload.bytes[122] != kKindFile) return 0;
  media::ExifTagRequest request{};
  take_text(payload.bytes + 2, request.name);
  take_text(payload.bytes + 123, request.fields);
  if (!base::safe_name(request.name)) return -1;
  const int32_t kind = media::media_file_kind(request.name);
  if (supervisor::get_test_mode() != 0) {
    move_test_file(request.name, kind);
  } else if (kind == media::MEDIA_PHOTO) {
    if (request.fields[0] != '\0') media::exif_tag_photo(&request);
    register_file(request.name);
  } else if (kind == media::MEDIA_VIDEO) {
    new_video(request.name);
  }
  return 0;
}

}  // namespace flightlink
