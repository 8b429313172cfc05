// The card status texts and their report codes.
#include "camera/service_state.h"

#include <array>

#include "camera/camera_rig.h"
#include "camera/text_codes.h"

namespace camera_test {
namespace {

using camera::cam_sd_report_code;
using camera::cam_sd_status_code;

TEST(CamSdStatus, TextsHaveCodes) {
  expect_codes(cam_sd_status_code,
               {{"SD_SPEED_CHECKING", 1},
                {"SD_SPEED_LOW", 2},
                {"DETECT_SD_SPEED_LOW", 2},
                {"SD_SPEED_OK", 3},
                {"SD_NO_SPACE", 4},
                {"SD_ERROR", 5},
                {"SD_FORMAT_UNKNOWN", 6},
                {"SD_CARD_INSERTED", 7},
                {"SD_CARD_REMOVED", 8},
                {"SD_FORMAT_EXFAT", 9},
                {"SD_FORMAT_FAT32", 10}},
               {"", "SD_", "sd_error", "SD_CARD"}, 11);
}

TEST(CamSdStatus, TheFirstTextOfTheOrderWins) {
  constexpr std::array kOrder = {"SD_SPEED_CHECKING", "SD_SPEED_LOW",    "SD_SPEED_OK",
                                 "SD_NO_SPACE",       "SD_ERROR",        "SD_FORMAT_UNKNOWN",
                                 "SD_CARD_INSERTED",  "SD_CARD_REMOVED", "SD_FORMAT_EXFAT",
                                 "SD_FORMAT_FAT32"};
  for (size_t i = 0; i + 1 < kOrder.size(); i++) {
    const std::string both = std::string(kOrder.at(i + 1)) + kOrder.at(i);
    EXPECT_EQ(cam_sd_status_code(both.c_str()), static_cast<int32_t>(i) + 1) << both;
  }
}

TEST(CamSdStatus, CodesHaveReportCodes) {
  constexpr std::array<std::pair<int32_t, int>, 17> kCodes = {{{0, 2},
                                                               {1, 4},
                                                               {2, 5},
                                                               {3, 6},
                                                               {4, 7},
                                                               {5, 8},
                                                               {6, 9},
                                                               {7, 0},
                                                               {8, 1},
                                                               {9, 12},
                                                               {10, 13},
                                                               {11, 2},
                                                               {12, 2},
                                                               {255, 2},
                                                               {INT32_MAX, 2},
                                                               {-1, 2},
                                                               {INT32_MIN, 2}}};
  for (const auto& [status, code] : kCodes) EXPECT_EQ(cam_sd_report_code(status), code) << status;
}

}  // namespace
}  // namespace camera_test
