// Any bytes as a photo: loaded, its EXIF data read and put back, saved. What was saved has to load.
#include <cstdlib>

#include "media/photo/jpeg_data.h"

using namespace media;  // NOLINT

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const JpegDataOwner photo(jpeg_data_new_from_data(bytes, static_cast<uint32_t>(size)));
  if (photo == nullptr) return 0;
  // Scan data of two bytes may be taken for a closing marker when they are read again.
  const bool whole = jpeg_data_is_whole(photo.get()) && photo->size > 2;
  const ExifDataOwner exif(jpeg_data_get_exif_data(photo.get()));
  if (exif != nullptr) jpeg_data_set_exif_data(photo.get(), exif.get());
  uint8_t* saved = nullptr;
  uint32_t saved_size = 0;
  if (jpeg_data_save_data(photo.get(), &saved, &saved_size) != 0) return 0;
  {
    const JpegDataOwner again(jpeg_data_new_from_data(saved, saved_size));
    if (whole && !jpeg_data_is_whole(again.get())) std::abort();
  }
  std::free(saved);
  return 0;
}
