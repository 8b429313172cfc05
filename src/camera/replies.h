// What the camera service's messages do.
//
// A message is a flat JSON object. A reply has "msg_id" and "rval" (0: success) and may have
// "param" (number or text) and "type"; a notification has "notify_id" and may have "param". A
// member of another type counts as missing. Receive thread only; handlers send follow-up commands
// and sleep up to 1.5 s.
#pragma once

struct cJSON;

namespace camera {

// One reply, by its "msg_id".
void cam_handle_reply(int msg_id, const cJSON* message);

}  // namespace camera
