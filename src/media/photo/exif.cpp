#include "media/photo/exif.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/descriptor.h"
#include "base/text.h"
#include "media/card/file_replace.h"
#include "media/card/paced_writer.h"
#include "media/card/store.h"
#include "media/photo/exif_entries.h"
#include "media/photo/jpeg_data.h"
#include "supervisor/state/camera_flags.h"

namespace media {
namespace {

struct TextTag {
  ExifIfd ifd;
  ExifTag tag;
  const char* text;
};

constexpr TextTag kProductTags[] = {
    {EXIF_IFD_0, EXIF_TAG_IMAGE_DESCRIPTION, "FALK2"},
    {EXIF_IFD_0, EXIF_TAG_MAKE, "KORVAN"},
    {EXIF_IFD_0, EXIF_TAG_MODEL, "FALK2"},
    {EXIF_IFD_0, EXIF_TAG_ARTIST, "FALK2"},
};

std::atomic<int32_t> tagging_busy;

class BusyMark {
 public:
  BusyMark() { tagging_busy.store(1, std::memory_order_relaxed); }
  ~BusyMark() { tagging_busy.store(0, std::memory_order_relaxed); }
  BusyMark(const BusyMark&) = delete;
  BusyMark& operator=(const BusyMark&) = delete;
};

// The entry keeps its size: the text is cut to it, or filled up with zero bytes.
void set_text(ExifData* exif, const TextTag& tag) {
  ExifEntry* entry = init_tag(exif, tag.ifd, tag.tag);
  if (entry->data == nullptr) return;
  const size_t length = std::min<size_t>(std::strlen(tag.text), entry->size);
  std::memcpy(entry->data, tag.text, length);
  std::memset(entry->data + length, 0, entry->size - length);
}

// Null, with the message that this case has, when the photo holds no EXIF data.
ExifDataOwner exif_of(const JpegData* photo) {
  ExifDataOwner exif(jpeg_data_get_exif_data(photo));
  if (exif == nullptr) std::fputs("Out of memory\n", stderr);
  return exif;
}

// The fix-up adds the thumbnail's place and length with the value 0. The save adds them with the
// true values, without a look at these, and a reader takes the first ones that it meets.
void drop_thumbnail_placeholders(ExifData* exif) {
  ExifContent* content = exif->ifd[EXIF_IFD_1];
  for (const ExifTag tag :
       {EXIF_TAG_JPEG_INTERCHANGE_FORMAT, EXIF_TAG_JPEG_INTERCHANGE_FORMAT_LENGTH}) {
    ExifEntry* placeholder = exif_content_get_entry(content, tag);
    if (placeholder != nullptr) exif_content_remove_entry(content, placeholder);
  }
}

void fill_tags(ExifData* exif, const char* time, const GpsPosition& position) {
  exif_data_set_option(exif, EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
  exif_data_set_data_type(exif, EXIF_DATA_TYPE_COMPRESSED);
  exif_data_set_byte_order(exif, EXIF_BYTE_ORDER_INTEL);
  exif_data_fix(exif);
  drop_thumbnail_placeholders(exif);
  for (const TextTag& tag : kProductTags) set_text(exif, tag);
  if (time != nullptr) {
    set_text(exif, {EXIF_IFD_0, EXIF_TAG_DATE_TIME, time});
    set_text(exif, {EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL, time});
    set_text(exif, {EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_DIGITIZED, time});
  }
  exif_set_position(exif, position);
}

bool has_thumbnail(const ExifData* exif) { return exif->data != nullptr && exif->size != 0; }

struct Written {
  int32_t result;  // of exif_write_photo
  bool saved;      // the destination is the tagged photo, with all its bytes on disk
};

Written write_photo(const char* source, const char* destination, const char* thumbnail,
                    const char* time, const GpsPosition& position) {
  if (source == nullptr || destination == nullptr) return {-1, false};
  const JpegDataOwner photo(jpeg_data_new_from_file(source));
  const ExifDataOwner exif = exif_of(photo.get());
  if (exif == nullptr) return {2, false};
  fill_tags(exif.get(), time, position);
  jpeg_data_set_exif_data(photo.get(), exif.get());
  const bool saved =
      jpeg_data_is_whole(photo.get()) && jpeg_data_save_file(photo.get(), destination) == 0;
  if (has_thumbnail(exif.get())) {
    (void)media_replace_file(thumbnail, exif->data, exif->size);
  }
  return {0, saved};
}

void join(char (&path)[kMediaPathSize], const char* folder, const char* name) {
  base::format_text(path, "%s/%s", folder, name);
}

// One file may have two names: on the card's file system case does not matter.
bool is_same_file(const char* one, const char* other) {
  struct stat a {};
  struct stat b {};
  return stat(one, &a) == 0 && stat(other, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

int32_t get_tagging_busy() { return tagging_busy.load(std::memory_order_relaxed); }

int32_t exif_write_photo(const char* source, const char* destination, const char* thumbnail,
                         const char* time, const GpsPosition& position) {
  return write_photo(source, destination, thumbnail, time, position).result;
}

int32_t exif_tag_photo(const ExifTagRequest* request) {
  if (request == nullptr) return -1;
  char name[sizeof(request->name)];
  base::format_text(name, "%.*s", static_cast<int>(sizeof(name)) - 1, request->name);
  if (media_file_kind(name) != MEDIA_PHOTO || !base::safe_name(name)) return -1;
  char fields[sizeof(request->fields)];
  base::format_text(fields, "%.*s", static_cast<int>(sizeof(fields)) - 1, request->fields);

  const BusyMark busy;
  char time[kExifTimeSize] = "";
  exif_get_field(fields, time, sizeof(time), "time");
  // One buffer for the three numbers, deliberately: a missing field repeats the number before it.
  char number[20] = "";
  const auto next_number = [&](const char* key) {
    exif_get_field(fields, number, sizeof(number), key);
    return static_cast<int32_t>(std::strtol(number, nullptr, 10));
  };
  GpsPosition position{};
  position.longitude = next_number("gps_lon");
  position.latitude = next_number("gps_lat");
  position.altitude = next_number("gps_alt");

  char photo[kMediaPathSize];
  char thumbnail[kMediaPathSize];
  join(photo, kPhotoFolder, name);
  join(thumbnail, kThumbFolder, name);
  media_thumb_name(thumbnail, sizeof(thumbnail));
  (void)exif_write_photo(photo, photo, thumbnail, time, position);
  return 0;
}

int32_t exif_tag_and_rename_photo(const char* name, int32_t longitude, int32_t latitude,
                                  int32_t altitude) {
  if (media_file_kind(name) != MEDIA_PHOTO || !base::safe_name(name)) return -1;
  const BusyMark busy;
  char new_name[kMediaNameSize] = "";
  const PhotoMark mark{supervisor::get_photo_mode(), supervisor::get_photo_sequence()};
  const bool renamed = media_photo_name(name, mark, new_name, sizeof(new_name)) == 1;
  const char* target = renamed ? new_name : name;

  char old_path[kMediaPathSize];
  char new_path[kMediaPathSize];
  char thumbnail[kMediaPathSize];
  join(old_path, kPhotoFolder, name);
  join(new_path, kPhotoFolder, target);
  join(thumbnail, kThumbFolder, target);
  media_thumb_name(thumbnail, sizeof(thumbnail));
  char time[kExifTimeSize] = "";
  exif_time_from_name(name, std::strlen(name), time, sizeof(time));

  const Written written =
      write_photo(old_path, new_path, thumbnail, time, {longitude, latitude, altitude});
  if (renamed && written.result == 0 && written.saved && !is_same_file(old_path, new_path)) {
    unlink(old_path);
  }
  return 0;
}

int32_t exif_extract_thumbnail(const char* photo, const char* output) {
  if (photo == nullptr || output == nullptr) return -1;
  const JpegDataOwner container(jpeg_data_new_from_file(photo));
  const ExifDataOwner exif = exif_of(container.get());
  if (exif == nullptr || !has_thumbnail(exif.get())) return -1;
  const base::File file(std::fopen(output, "wbe"));
  if (file == nullptr) return -1;
  return static_cast<int32_t>(media_write_paced(exif->data, exif->size, file.get()));
}

}  // namespace media
