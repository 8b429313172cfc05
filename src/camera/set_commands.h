// The camera's settings: one function each, with its rules of refusal, and the time-lapse.
//
// Unless said otherwise a function returns the result of a12_json_send: 0 when the text was handed
// to the connection, -2 when there is none; the requested value is stored all the same. A refusal
// sends nothing and changes nothing. Any thread that holds no lock of the camera client may call;
// functions that set an operation code sleep 10 ms. "High rate", "60P" and "30P" are families of
// the confirmed resolution.
#pragma once

#include <cstdint>

#include "flightlink/wire/reports.h"

namespace camera {

int32_t cam_set_resolution(int32_t index);  // -1 outside the table
// Auto, BlackAndWhite, VIVID, 70FILM (0 to 3); -1 for another, or while a change is unanswered.
int32_t cam_set_color_style(int32_t style);
int32_t cam_set_video_quality(int32_t quality);  // sfine, fine, normal (0 to 2); else nothing and 0
int32_t cam_set_white_balance(int32_t balance);  // Auto, Day, Cloudy (0 to 2); else nothing and 0
int32_t cam_set_iso(int32_t value);              // 0: Auto
int32_t cam_set_exposure(int32_t value);         // 4999 for less than 5000 at high rate
int32_t cam_set_ae_mode(int32_t mode);  // off, on, shutter_priority (0 to 2); else nothing and 0
int32_t cam_set_saturation(int32_t value);
int32_t cam_set_contrast(int32_t value);
int32_t cam_set_sharpness(int32_t value);
// -1 outside the table, for less than 9 at 60P and for less than 14 at high rate.
int32_t cam_set_shutter(int32_t index);
int32_t cam_set_piv_format(int32_t format);  // 1 RAW (-1 at high rate), else JPG
int32_t cam_set_raw_mode(int32_t on);        // first switches low light off when that is on
int32_t cam_set_low_light(int32_t on);       // first switches raw mode off when that is on
int32_t cam_set_stamp(int32_t off);          // non-zero: OFF
int32_t cam_set_max_agc(int32_t value);      // only while low light is on, else nothing and 0
int32_t cam_set_timelapse_interval(int32_t interval);  // 0: OFF
int32_t cam_set_timelapse_time(int32_t time);

// Queries of one setting. Those of shutter, ISO and exposure return 0.
int32_t cam_query_shutter();
int32_t cam_query_iso();
int32_t cam_query_exposure();
int32_t cam_query_max_agc();
int32_t cam_query_low_light();
int32_t cam_query_raw_mode();
int32_t cam_query_stamp();
int32_t cam_query_resolution();

// Requests that take more than one step.
// Stops the preview; the answers set the resolution and start the preview again. 0 in photo mode
// and for what is requested already, that is asked for and not yet answered, or confirmed. What was
// requested and then refused, lost or never sent is nobody's request any more: it may be asked for
// again, and so may the confirmed one, which is then told to the camera once more. -1 outside the
// table, for high rate while the AE mode is not 0, low light is on or the photo format is RAW, and
// for 60P while low light is on or the AE mode is 2 with a shutter index below 9.
int32_t cam_request_resolution(int32_t index);
// Nothing and 0 at high rate. Mode 0 also sets exposure and ISO to automatic.
int32_t cam_apply_ae_mode(int32_t mode);
// -1 unless the resolution is 30P and the AE mode is 0; first leaves RAW photos.
int32_t cam_request_low_light(int32_t on);

struct TimelapseRequest {
  int32_t cmd;
  int32_t interval;
  flightlink::TimelapseParameters parameters;  // of the time-lapse report
};
// Only at 1920x1080 30P, and not while the AE mode is 2 with a shutter index below 6; else -1. cmd
// 0 starts: interval 1 to 15, no time-lapse and no operation in flight, else -1. cmd 2 stops.
// Others: nothing and 0.
int32_t cam_timelapse_control(const TimelapseRequest& request);
// Only while a time-lapse runs and no stop has been sent; otherwise nothing and 0.
// Refused like cam_stop_record while a slice is starting; then it may be sent again.
int32_t cam_stop_timelapse();

}  // namespace camera
