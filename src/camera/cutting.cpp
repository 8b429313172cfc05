#include "camera/cutting.h"

#include <cerrno>
#include <cstring>

#include "base/clock.h"
#include "camera/members.h"
#include "camera/notifications.h"
#include "camera/replies.h"

namespace camera {
namespace {

// Memory may be short for a moment, and an answer that is not read is lost. Null for what is no
// JSON.
Json parse(const char* text) {
  constexpr int kTries = 5;
  constexpr uint64_t kPauseMs = 20;
  for (int tries = 1;; tries++) {
    errno = 0;
    Json object(cJSON_Parse(text));
    if (object != nullptr || errno != ENOMEM || tries == kTries) return object;
    base::sleep_ms(kPauseMs);
  }
}

}  // namespace

void cam_handle_message(CamJsonContext*, const char* text, size_t length) {
  while (length > 0) {
    {
      const Json object = parse(text);
      if (!object) return;
      if (const auto msg_id = number_member(object.get(), "msg_id")) {
        cam_handle_reply(*msg_id, object.get());
      }
      if (const auto notify_id = number_member(object.get(), "notify_id")) {
        cam_handle_notification(*notify_id, object.get());
      }
    }
    const auto* brace = static_cast<const char*>(std::memchr(text, '}', length));
    if (brace == nullptr) return;
    length -= static_cast<size_t>(brace + 1 - text);
    text = brace + 1;
  }
}

}  // namespace camera
