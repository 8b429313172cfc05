// The aircraft's position as EXIF GPS entries.
#pragma once

#include <libexif/exif-data.h>

#include <cstdint>

namespace media {

struct GpsPosition {
  int32_t longitude;  // 1e-7 degree, negative west
  int32_t latitude;   // 1e-7 degree, negative south
  int32_t altitude;   // tenths of a metre; the sign is not written
};

// An angle as the three numerators of its rationals: degrees/1, minutes/1, tenths of seconds/10.
struct GpsAngle {
  uint32_t degrees;
  uint32_t minutes;
  uint32_t tenths;
};

// Converts the absolute value, in the single-precision steps that fix the rounding.
[[nodiscard]] GpsAngle gps_angle(int32_t value);

// Writes GPSVersionID, GPSLatitude, GPSLatitudeRef, GPSLongitude, GPSLongitudeRef and GPSAltitude
// with create_tag (exif_entries.h) into data in Intel byte order.
void exif_set_position(ExifData* exif, const GpsPosition& position);

}  // namespace media
