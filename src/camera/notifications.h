// The camera service's notifications: the SD card and the time-lapse. Receive thread only.
#pragma once

struct cJSON;

namespace camera {

// One notification, by its "notify_id"; anything outside 0 to 13 is ignored.
void cam_handle_notification(int notify_id, const cJSON* message);

}  // namespace camera
