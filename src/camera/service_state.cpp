#include "camera/service_state.h"

#include <cstring>

namespace camera {

CameraState camera_state;

namespace {

struct StatusText {
  const char* text;
  int32_t status;
};

// Tested in this order; the first match wins.
constexpr StatusText kStatusTexts[] = {
    {"SD_SPEED_CHECKING", kSdSpeedChecking},
    {"SD_SPEED_LOW", kSdSpeedLow},
    {"DETECT_SD_SPEED_LOW", kSdSpeedLow},
    {"SD_SPEED_OK", kSdSpeedOk},
    {"SD_NO_SPACE", kSdNoSpace},
    {"SD_ERROR", kSdError},
    {"SD_FORMAT_UNKNOWN", kSdFormatUnknown},
    {"SD_CARD_INSERTED", kSdCardInserted},
    {"SD_CARD_REMOVED", kSdCardRemoved},
    {"SD_FORMAT_EXFAT", kSdFormatExfat},
    {"SD_FORMAT_FAT32", kSdFormatFat32},
};

// By card status 0 to 10.
constexpr uint8_t kReportCodes[] = {2, 4, 5, 6, 7, 8, 9, 0, 1, 12, 13};
constexpr uint8_t kReportCodeUnknown = 2;

}  // namespace

flightlink::TimelapseParameters saved_timelapse_parameters() {
  flightlink::TimelapseParameters parameters{};
  parameters.count = camera_state.timelapse_count_parameter.load(std::memory_order_relaxed);
  for (size_t i = 0; i < 4; i++) {
    parameters.values[i] = camera_state.timelapse_parameters[i].load(std::memory_order_relaxed);
  }
  return parameters;
}

int32_t cam_sd_status_code(const char* text) {
  if (text == nullptr) return kSdUnknown;
  for (const StatusText& row : kStatusTexts) {
    if (std::strstr(text, row.text) != nullptr) return row.status;
  }
  return kSdUnknown;
}

uint8_t cam_sd_report_code(int32_t status) {
  const bool known = status >= 0 && static_cast<size_t>(status) < sizeof(kReportCodes);
  return known ? kReportCodes[status] : kReportCodeUnknown;
}

}  // namespace camera
