// The list of photos or videos on the media channel.
#pragma once

#include <cstdint>

#include "media/channel/transfer_context.h"

namespace media {

// TransferHandler of message 21: rescans the card and sends one list record per file, 10 us apart.
// The sender's component id of the item's frame chooses: 195 photos, any other videos. The list is
// copied under the media lock and sent without it. Returns 0, also when it was interrupted; -1 for
// an empty list or a missing card.
int32_t media_send_file_list(WorkItem* item, TransferContext* context);

}  // namespace media
