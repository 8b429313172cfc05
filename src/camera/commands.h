// Every command that is sent to the camera service: one function, one JSON text.
//
// Unless said otherwise a function returns the result of a12_json_send: 0 when the text was handed
// to the connection, -2 when there is none. A flag that the function set is cleared again on -2,
// because no answer can come. Refusals send nothing and change nothing. Any thread that holds no
// lock of the camera client may call; functions that set an operation code sleep 10 ms.
#pragma once

#include <cstdint>

#include "camera/messages.h"
#include "camera/settings_table.h"

namespace camera {

// A new connection: publishes it and sends the session request, always with token 0, as its first
// bytes. Receive thread only.
void cam_start_session(int connection);
int32_t cam_start_record();  // sets record_cmd_pending
// Refused, returning the flag, while record_cmd_pending is set; otherwise sets it.
int32_t cam_stop_record();
int32_t cam_take_photo();
// The mode is not in the text: the service changes to the other one.
int32_t cam_switch_mode(int32_t mode);
int32_t cam_stop_preview();
int32_t cam_stop_preview_for(Setting setting);  // marked: its answer goes on with that setting
int32_t cam_reset_preview();
int32_t cam_query_sd();
int32_t cam_query_space(bool total);  // "total" or "free"

int32_t cam_format_sd();
int32_t cam_cmd_2817();  // 1 s after this board's new firmware has been moved into its place
// Requests that the service knows and nothing in this system needs.
int32_t cam_cmd_773();
int32_t cam_cmd_2561();
int32_t cam_cmd_8194();

// Stream rate in kbit/s: 0 or less is ignored, the rest is clamped to 50..2048; while the peer
// nibble is 10 it is always 1024. Sends only what differs from the confirmed rate. Returns 0 when
// nothing is sent.
int32_t cam_set_stream_bitrate(int32_t rate);
// "YYYY-MM-DD HH:MM:SS"; nothing and 0 for null.
int32_t cam_set_clock(const char* text);

// In photo mode takes a photo; otherwise switches to photo mode first, and the answer takes it.
int32_t cam_photo_request();
// The same for a recording in video mode.
int32_t cam_record_request();
// Stops the preview; the answer restores the default settings.
int32_t cam_request_default_setting();
int32_t cam_default_setting();

}  // namespace camera
