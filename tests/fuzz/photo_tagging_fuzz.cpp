// Any bytes as a new photo on the card, tagged as the camera's answer or the peer's message has it
// done: container, libexif, the file that replaces it, the thumbnail.
//
//   NAME \n FIELDS \n road (1 byte), photo mode, number, longitude, latitude, altitude (4 each), photo
//
// Whatever becomes of the tagging, there is one photo afterwards: the old one, byte for byte, or a
// whole one with the same picture and the same other segments. A name that may not become part of a
// path changes nothing.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "base/text.h"
#include "fake_base/fake_base.h"
#include "fuzz/support.h"
#include "media/card/names.h"
#include "media/card/store.h"
#include "media/photo/exif.h"
#include "media/photo/jpeg_data.h"
#include "supervisor/state/camera_flags.h"

namespace {

using namespace media;  // NOLINT

constexpr size_t kLongestName = 119;  // that both roads take whole
constexpr uint32_t kMarkerLookAlike = 2;

struct Listing {
  explicit Listing(const char* folder) : path(folder) {
    DIR* open = opendir(folder);
    fuzz::check(open != nullptr, "no folder", folder);
    while (const dirent* entry = readdir(open)) {
      if (entry->d_name[0] != '.' || std::strlen(entry->d_name) > 2)
        names.emplace_back(entry->d_name);
    }
    closedir(open);
  }
  void empty() const {
    for (const std::string& name : names) unlink((path + "/" + name).c_str());
  }

  std::string path;
  std::vector<std::string> names;
};

void write_file(const std::string& path, std::span<const uint8_t> bytes) {
  const base::Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  const ssize_t size = write(file.get(), bytes.data(), bytes.size());
  fuzz::check(size == static_cast<ssize_t>(bytes.size()), "the photo of the target itself", path);
}

std::vector<uint8_t> read_file(const std::string& path) {
  const base::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  fuzz::check(fstat(file.get(), &status) == 0, "a file cannot be read", path);
  std::vector<uint8_t> bytes(static_cast<size_t>(status.st_size));
  const ssize_t size = read(file.get(), bytes.data(), bytes.size());
  fuzz::check(size == static_cast<ssize_t>(bytes.size()), "a file cannot be read", path);
  return bytes;
}

bool same_bytes(const uint8_t* one, uint32_t one_size, const uint8_t* other, uint32_t other_size) {
  return one_size == other_size && (one_size == 0 || std::memcmp(one, other, one_size) == 0);
}

// The scan data up to their closing marker, which they do not hold otherwise: what is behind it may
// change.
std::span<const uint8_t> picture_of(const JpegData& photo) {
  for (uint32_t i = 1; i < photo.size; i++) {
    if (photo.data[i - 1] == 0xFF && photo.data[i] == kJpegEoi) return {photo.data, i};
  }
  return {photo.data, photo.size};
}

void check_tagged(std::span<const uint8_t> before, std::span<const uint8_t> after) {
  const JpegDataOwner old(
      jpeg_data_new_from_data(before.data(), static_cast<uint32_t>(before.size())));
  const JpegDataOwner now(
      jpeg_data_new_from_data(after.data(), static_cast<uint32_t>(after.size())));
  fuzz::check(jpeg_data_is_whole(old.get()), "a photo that is cut was replaced");
  if (old->size <= kMarkerLookAlike) return;
  fuzz::check(jpeg_data_is_whole(now.get()), "the tagged photo is cut");
  fuzz::check(std::ranges::equal(picture_of(*old), picture_of(*now)), "another picture");
  for (uint32_t i = 0; i < old->count; i++) {
    fuzz::check(i < now->count, "a segment is missing");
    const JpegSegment& one = old->sections[i];
    const JpegSegment& other = now->sections[i];
    fuzz::check(one.marker == other.marker, "another segment");
    if (one.marker == kJpegSos) break;  // what is behind the picture may become a part of it
    if (one.marker == kJpegApp1 || !jpeg_parts::has_payload(one.marker)) continue;
    fuzz::check(same_bytes(one.content.bytes, one.size, other.content.bytes, other.size),
                "payload");
  }
}

struct Case {
  std::string name;
  std::string fields;
  bool by_message;
  GpsPosition position;
  std::span<const uint8_t> photo;
};

Case take_case(fuzz::Input& input) {
  Case one;
  one.name = fuzz::text_of(input.until('\n'));
  one.name.resize(std::strlen(one.name.c_str()));
  one.fields = fuzz::text_of(input.until('\n'));
  one.by_message = input.byte() % 2 == 1;
  supervisor::set_photo_mode(input.byte());
  supervisor::set_photo_sequence(input.byte());
  one.position.longitude = static_cast<int32_t>(input.number());
  one.position.latitude = static_cast<int32_t>(input.number());
  one.position.altitude = static_cast<int32_t>(input.number());
  one.photo = input.rest();
  return one;
}

int32_t tag(const Case& one) {
  if (!one.by_message) {
    return exif_tag_and_rename_photo(one.name.c_str(), one.position.longitude,
                                     one.position.latitude, one.position.altitude);
  }
  ExifTagRequest request{};
  std::copy_n(one.name.begin(), std::min(one.name.size(), sizeof(request.name)), request.name);
  std::copy_n(one.fields.begin(), std::min(one.fields.size(), sizeof(request.fields)),
              request.fields);
  return exif_tag_photo(&request);
}

void check_card(const Case& one, bool there) {
  const Listing photos(kPhotoFolder);
  const Listing thumbnails(kThumbFolder);
  fuzz::check(photos.names.size() == (there ? 1 : 0), "photos on the card");
  fuzz::check(thumbnails.names.size() <= (there ? 1 : 0), "thumbnails on the card");
  if (there) {
    const std::vector<uint8_t> after = read_file(photos.path + "/" + photos.names[0]);
    if (!std::ranges::equal(after, one.photo)) check_tagged(one.photo, after);
  }
  photos.empty();
  thumbnails.empty();
}

bool make_folders() {
  fuzz::require_board();
  return mkdir("/tmp/SD0/KRVMEDIA", 0777) == 0 && mkdir(kPhotoFolder, 0777) == 0 &&
         mkdir(kThumbFolder, 0777) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static const bool folders = make_folders();
  fuzz::check(folders, "no folders");
  fake_base::reset();
  fuzz::Input input(bytes, size);
  const Case one = take_case(input);
  const bool good = base::safe_name(one.name) && media_file_kind(one.name.c_str()) == MEDIA_PHOTO;
  const bool there = good && one.name.size() <= kLongestName;
  if (there) write_file(std::string(kPhotoFolder) + "/" + one.name, one.photo);
  const int32_t result = tag(one);
  if (!one.by_message) fuzz::check(result == (good ? 0 : -1), "result");
  fuzz::check(get_tagging_busy() == 0, "still busy");
  check_card(one, there);
  return 0;
}
