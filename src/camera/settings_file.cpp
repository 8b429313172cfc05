#include "camera/settings_file.h"

#include <cstdio>
#include <cstring>

#include "base/clock.h"
#include "base/descriptor.h"
#include "base/relaxed.h"
#include "base/shell.h"
#include "base/text.h"
#include "base/thread.h"
#include "camera/set_commands.h"
#include "camera/settings_table.h"

namespace camera {

CamConfOwner cam_conf_owner{};

namespace {

using base::kRelaxed;
constexpr const char* kCamConfPath = "/pref/cam.conf";
constexpr int kLineSize = 50;

struct ConfRow {
  const char* word;
  size_t value_at;  // from the start of the word
  Setting setting;
  int32_t (*apply)(int32_t value);
};

constexpr ConfRow kRows[] = {
    {"colstyle", 9, kColorStyle, cam_set_color_style},
    {"wblance", 8, kWhiteBalance, cam_set_white_balance},
};

void apply_line(const char* line) {
  for (const ConfRow& row : kRows) {
    const char* match = std::strstr(line, row.word);
    if (match == nullptr) continue;
    const size_t length = std::strlen(match);
    const int32_t value = cam_param_int(row.value_at < length ? match + row.value_at : "");
    confirm(row.setting, value);
    row.apply(value);
    base::sleep_ms(500);
    return;
  }
}

void save_line(const ConfRow& row, int32_t baseline) {
  const int32_t value = confirmed(row.setting);
  if (value == baseline) return;
  char command[250];
  base::format_text(command, "echo %s=%d >> %s", row.word, value, kCamConfPath);
  base::run_shell(command);
}

// One shot, with the scheduling of the receive thread that starts it; owns nothing.
void* load_thread(void*) {
  base::detach_self();
  cam_conf_load(&cam_conf_owner);
  return nullptr;
}

}  // namespace

int32_t cam_conf_load(CamConfOwner* owner) {
  const base::File file(std::fopen(kCamConfPath, "re"));
  if (file == nullptr) {
    std::fprintf(stderr, "Could not open config file: %s\n", kCamConfPath);
    return -1;
  }
  owner->loading.store(1, kRelaxed);
  char line[kLineSize];
  while (std::fgets(line, sizeof(line), file.get()) != nullptr) {
    const size_t length = std::strlen(line);
    if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
    apply_line(line);
  }
  owner->loading.store(0, kRelaxed);
  return 0;
}

int32_t cam_conf_save(CamConfOwner* owner) {
  if (owner == nullptr) return -1;
  if (owner->loading.load(kRelaxed) != 0) return 0;
  cam_conf_remove();
  save_line(kRows[0], owner->baseline_color_style);
  save_line(kRows[1], owner->baseline_white_balance);
  return 0;
}

void cam_conf_remove() {
  char command[250];
  base::format_text(command, "rm %s", kCamConfPath);
  base::run_shell(command);
}

void cam_conf_load_soon() { base::start_thread(load_thread, nullptr); }

}  // namespace camera
