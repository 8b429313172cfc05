// The camera service's notifications: the SD card and the time-lapse. Receive thread only.
#pragma once

struct cJSON;

namespace camera {

// One notification, by its "notify_id": 0 to 2, 4 to 6 and 8 to 13; any other is ignored.
void cam_handle_notification(int notify_id, const cJSON* message);

}  // namespace camera
