// What one read from the camera service is cut into: its messages, each of which is handled.
#pragma once

#include <cstddef>

namespace camera {

struct CamJsonContext;

// Cuts the bytes of one read into objects and handles each. `text` holds `length` bytes and a
// terminating zero. The cut takes the first closing brace, not the matching one: messages are flat,
// and one that was split over two reads is lost.
void cam_handle_message(CamJsonContext* context, const char* text, size_t length);

}  // namespace camera
