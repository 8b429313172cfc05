// Thumbnails that are made when the application asks for one that is missing.
#pragma once

#include <cstdint>

#include "media/channel/transfer_context.h"

namespace media {

inline constexpr int32_t kThumbnailWidth = 160;  // pixels, of a video's thumbnail
inline constexpr int32_t kThumbnailHeight = 90;

// TransferHandler: makes the thumbnail of the photo or video of the item's name, adds it to the
// thumbnail list, where it is once however often it was made, and reports "THUMBREADY";
// "THUMBERROR" when the video is too small, the file holds nothing to make one of, the card does
// not take it, the name would not be safe in a shell command or has no dot, or the thumbnail's own
// name does not fit into kMediaNameSize. Silent when the name is not that of a listed photo or
// video. Thumbnails that were there stay.
int32_t thumbnail_maker(WorkItem* item, TransferContext* context);

}  // namespace media
