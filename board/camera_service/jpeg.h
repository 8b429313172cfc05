// JPEG encoding (baseline, 4:2:0), on libjpeg-turbo.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "camera_service/picture.h"

namespace camera_service {

// Encodes the canvas. The result begins with SOI and a quantisation table: no JFIF segment, as in
// files that carry EXIF. Empty when the encoder fails.
[[nodiscard]] std::vector<uint8_t> encode_jpeg(const Canvas& canvas, int quality);

// The JPEG with one APP1 segment of that payload directly behind its SOI. The payload has at most
// 65533 bytes; an empty one adds no segment.
[[nodiscard]] std::vector<uint8_t> with_app1(std::span<const uint8_t> jpeg,
                                             std::span<const uint8_t> payload);

// A checksum of the picture itself in a JPEG file: everything from the first start-of-scan marker
// on, which no change of texts, position or thumbnail touches. 0 when the file cannot be read or
// has no picture.
[[nodiscard]] uint64_t picture_checksum(const std::string& path);

}  // namespace camera_service
