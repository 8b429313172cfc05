// Message 142 on the peer link: a media file that the other side has named.
#pragma once

#include "flightlink/frame/mavlink_frame.h"

namespace flightlink {

// Payload: kind at 1 or at 122 (3 is required in one of them, else nothing and 0), file name at 2
// to 121, field text at 123 to 242, both NUL-terminated. In the factory test the file is moved to
// test.mp4 or test.jpg. Otherwise a photo is tagged when a field text is given and then registered;
// a video that exists is registered. Returns 0; -1 for a null message or a name that
// base::safe_name refuses. Peer thread.
int media_file_message(const MavlinkMessage* message);

}  // namespace flightlink
