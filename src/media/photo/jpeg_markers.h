// Names of JPEG marker codes (ITU-T T.81, table B.1), for diagnostics only. Safe from any thread.
#pragma once

#include <cstdint>

namespace media {

inline constexpr uint32_t kJpegSof0 = 0xC0;
inline constexpr uint32_t kJpegSoi = 0xD8;
inline constexpr uint32_t kJpegEoi = 0xD9;
inline constexpr uint32_t kJpegSos = 0xDA;
inline constexpr uint32_t kJpegApp1 = 0xE1;
inline constexpr uint32_t kJpegCom = 0xFE;

// Whether the byte after 0xFF starts a segment.
[[nodiscard]] constexpr bool is_jpeg_marker(uint32_t code) {
  return code >= kJpegSof0 && code <= kJpegCom;
}

// "SOF0" for 0xC0 and so on; null for a code that the table does not list.
[[nodiscard]] const char* jpeg_marker_get_name(uint32_t marker);

// "Encoding (baseline)" for 0xC0 and so on; null for a code that the table does not list.
[[nodiscard]] const char* jpeg_marker_get_description(uint32_t marker);

}  // namespace media
