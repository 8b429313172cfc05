// What the application asks for on the media channel. Frames are MAVLink 1.
//
//   message  meaning
//        21  list of the media files: of photos when the sender's component id is 195, else videos
//        67  payload byte 3: a data stream is switched on (non-zero) or off; while it is on,
//            transfers end and queued requests are thrown away
//       142  a request for one file:
//
// Message 142:
//   offset size  field
//        1    1  media kind: 1 photo, 2 thumbnail, 3 video
//        2  120  file name, terminated
//      122    1  operation
//      123  120  argument, decimal text, terminated
//
//   operation  meaning                    argument
//           0  size query
//           1  download                   first byte
//           2  delete
//           4  cancel the running transfer
//           5  play (videos)              start, ms
//           6  go on playing (videos)
//           7  pause playing (videos)
//           8  seek while playing (videos) time, ms
#pragma once

#include <cstdint>

#include "flightlink/frame/mavlink_frame.h"
#include "media/channel/transfer_context.h"

namespace media {

// What is done about a frame: controls take effect at once, everything else is queued. Messages of
// other ids are ignored, and so is message 142 while a photo is being tagged. Receiver thread.
void transfer_dispatch(const flightlink::MavlinkMessage& message, TransferContext* context);

// TransferHandler of message 142: looks the file up and answers, or queues what takes long.
int32_t transfer_request(WorkItem* item, TransferContext* context);

}  // namespace media
