#include "camera/watch.h"

#include "camera/connection.h"
#include "camera/settings_table.h"
#include "supervisor/state/camera_flags.h"

namespace camera {
namespace {

constexpr uint64_t kAnswerLimitUs = uint64_t{kAnswerLimitS} * 1000000;

struct Watched {
  const char* name;
  uint64_t (*since_us)();  // 0: nothing is awaited
};

template <Setting Marked>
uint64_t since() {
  return unanswered_since_us(Marked);
}

uint64_t session_since() { return base::waiting_since(cam_json_context.SessionRequest); }

constexpr Watched kWatched[] = {
    {"photo", supervisor::get_photo_pending_since_us},
    {"recording", supervisor::get_record_cmd_pending_since_us},
    {"mode switch", supervisor::get_mode_switch_pending_since_us},
    {"setting", supervisor::get_setting_pending_since_us},
    {"SD query", supervisor::get_sd_query_pending_since_us},
    {"colour style", since<kColorStyle>},
    {"resolution", since<kResolution>},
    {"default settings", since<kDefaultSetting>},
    {"operation", cam_op_since_us},
    {"session", session_since},
};

}  // namespace

const char* cam_overdue_answer(uint64_t now_us) {
  const char* name = nullptr;
  uint64_t oldest = now_us;
  for (const Watched& watched : kWatched) {
    const uint64_t since_us = watched.since_us();
    if (since_us == 0 || since_us >= oldest || now_us - since_us < kAnswerLimitUs) continue;
    name = watched.name;
    oldest = since_us;
  }
  return name;
}

}  // namespace camera
