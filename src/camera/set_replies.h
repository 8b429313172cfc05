// The answers to "get" (message 1) and "set" (message 2). Receive thread only.
#pragma once

struct cJSON;

namespace camera {

// Takes the value over as requested and confirmed value; the camera is idle again.
void cam_handle_get_reply(const cJSON* message);
// Confirms the requested value and acknowledges it to the application; a failure only makes the
// camera idle again, for another request of the same setting too.
void cam_handle_set_reply(const cJSON* message);

}  // namespace camera
