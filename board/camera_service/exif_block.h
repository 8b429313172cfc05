// The EXIF block of a photo, as a camera writes it (Exif 2.3: "Exif\0\0", a TIFF header, IFD0 with
// the Exif IFD and perhaps a GPS IFD, IFD1 with a JPEG thumbnail). Built without an EXIF library,
// so that the reader under test is not judged by itself.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace camera_service {

enum class ExifMode {
  kOk,         // Intel byte order
  kMotorola,   // the same content, Motorola byte order
  kGps,        // kOk with a GPS IFD that already has a position
  kNone,       // no block at all
  kBroken,     // a TIFF header whose directory claims 65535 entries and ends
  kTruncated,  // kOk, cut in the middle of IFD0
};

struct ExifFields {
  std::string description = "Aerial photo 12M";
  std::string make = "Virtual Board";
  std::string model = "Camera Service 12M";
  std::string artist;  // empty: no such tag
  std::string time;    // "2020:01:01 12:00:00"
  uint32_t exposure_numerator = 1;
  uint32_t exposure_denominator = 30;
  uint16_t iso = 100;
  uint32_t width = 4000;
  uint32_t height = 3000;
};

// The payload of the APP1 segment; empty for kNone. The thumbnail must leave room in 65533 bytes.
[[nodiscard]] std::vector<uint8_t> exif_block(ExifMode mode, const ExifFields& fields,
                                              std::span<const uint8_t> thumbnail);

}  // namespace camera_service
