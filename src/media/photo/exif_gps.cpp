#include "media/photo/exif_gps.h"

#include <cstring>

#include "base/bytes.h"
#include "media/photo/exif_entries.h"

namespace media {
namespace {

constexpr uint8_t kGpsVersion[4] = {2, 2, 0, 0};
constexpr uint32_t kRationalSize = 8;

// The absolute value, also of the most negative integer.
uint32_t magnitude(int32_t value) {
  const auto bits = static_cast<uint32_t>(value);
  return value < 0 ? 0U - bits : bits;
}

ExifEntry* new_entry(ExifData* exif, int tag, uint32_t size, ExifFormat format,
                     uint32_t components) {
  ExifEntry* entry = create_tag(exif, static_cast<ExifTag>(tag), size);
  entry->format = format;
  entry->components = components;
  return entry;
}

void set_rational(ExifEntry* entry, uint32_t index, uint32_t numerator, uint32_t denominator) {
  exif_set_rational(entry->data + size_t{index} * kRationalSize, EXIF_BYTE_ORDER_INTEL,
                    {numerator, denominator});
}

void set_angle(ExifData* exif, int tag, int32_t value) {
  const GpsAngle angle = gps_angle(value);
  ExifEntry* entry = new_entry(exif, tag, 3 * kRationalSize, EXIF_FORMAT_RATIONAL, 3);
  set_rational(entry, 0, angle.degrees, 1);
  set_rational(entry, 1, angle.minutes, 1);
  set_rational(entry, 2, angle.tenths, 10);
}

// One letter, without the terminator that the standard asks for: readers of these photos expect it
// so.
void set_reference(ExifData* exif, int tag, char letter) {
  ExifEntry* entry = new_entry(exif, tag, 1, EXIF_FORMAT_ASCII, 1);
  entry->data[0] = static_cast<uint8_t>(letter);
}

}  // namespace

GpsAngle gps_angle(int32_t value) {
  const auto d = static_cast<float>(static_cast<double>(magnitude(value)) / 10000000.0);
  const auto degrees = base::saturate<uint32_t>(d);
  const float m = (d - static_cast<float>(degrees)) * 60.0F;
  const auto minutes = base::saturate<uint32_t>(m);
  const float s = (m - static_cast<float>(minutes)) * 60.0F * 10.0F;
  return {degrees, minutes, base::saturate<uint32_t>(s)};
}

void exif_set_position(ExifData* exif, const GpsPosition& position) {
  ExifEntry* version =
      new_entry(exif, EXIF_TAG_GPS_VERSION_ID, sizeof(kGpsVersion), EXIF_FORMAT_BYTE, 4);
  std::memcpy(version->data, kGpsVersion, sizeof(kGpsVersion));
  set_angle(exif, EXIF_TAG_GPS_LATITUDE, position.latitude);
  set_reference(exif, EXIF_TAG_GPS_LATITUDE_REF, position.latitude < 0 ? 'S' : 'N');
  set_angle(exif, EXIF_TAG_GPS_LONGITUDE, position.longitude);
  set_reference(exif, EXIF_TAG_GPS_LONGITUDE_REF, position.longitude < 0 ? 'W' : 'E');
  // GPSAltitudeRef is never written: the sign is dropped.
  ExifEntry* altitude =
      new_entry(exif, EXIF_TAG_GPS_ALTITUDE, kRationalSize, EXIF_FORMAT_RATIONAL, 1);
  const auto tenths = static_cast<float>(magnitude(position.altitude));
  set_rational(altitude, 0, base::saturate<uint32_t>(tenths), 10);
}

}  // namespace media
