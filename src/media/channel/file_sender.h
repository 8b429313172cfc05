// The download of a file on the media channel.
#pragma once

#include <cstdint>

#include "media/channel/transfer_context.h"

namespace media {

// TransferHandler: sends the file of the item's path from its offset on, as fast as the socket
// takes it: the start notice, datagrams of kTransferChunk bytes on channel 2, and the notice of
// completion. An offset at or past the end sends both notices and nothing between them. Ends with
// "TRANSCANCELED" when transfer_interrupted, silently when the file cannot be opened or read.
int32_t file_sender(WorkItem* item, TransferContext* context);

}  // namespace media
