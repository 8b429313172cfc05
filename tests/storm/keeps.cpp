// The promises to lose nothing, to stay small and to let nobody in; and what is shown and listed.
#include <algorithm>
#include <filesystem>
#include <set>

#include "camera_service/jpeg.h"
#include "groundstation/messages/camera_status.h"
#include "storm/promises.h"

namespace storm {
namespace {

using namespace support;  // NOLINT
namespace fs = std::filesystem;
using groundstation::CameraStatus;

constexpr uint64_t kSmallVideo = 1048576;

struct Shown {
  const char* type;
  uint32_t CameraStatus::*field;
};
constexpr Shown kShown[] = {
    {"color_style", &CameraStatus::color_style},
    {"scene_white_balance", &CameraStatus::white_balance},
    {"video_resolution", &CameraStatus::resolution},
    {"fix_iso_value", &CameraStatus::iso},
    {"fix_exposure", &CameraStatus::exposure},
    {"set_manual_ae_mode", &CameraStatus::exposure_mode},
    {"saturation", &CameraStatus::saturation},
    {"contrast", &CameraStatus::contrast},
    {"sharpness", &CameraStatus::sharpness},
    {"piv_format", &CameraStatus::photo_format},
    {"shutter_time", &CameraStatus::shutter},
    {"low_light_mode", &CameraStatus::low_light},
    {"raw_mode", &CameraStatus::raw_mode},
    {"Max_Agc", &CameraStatus::max_gain},
    {"sec_stream_stamp", &CameraStatus::stamp_off},
};

std::string wrong_setting(Board& board) {
  const auto frame = board.status();
  if (!frame) return "no status record";
  const auto status =
      groundstation::decode_camera_status(frame->payload.data(), frame->payload.size());
  if (!status) return "no whole status record";
  const Story& story = board.story();
  for (const Shown& row : kShown) {
    const uint32_t value = (*status).*row.field;
    const std::set<int64_t>& right = story.shown(row.type);
    if (right.contains(value)) continue;
    std::string why = std::string(row.type) + " is shown as " + std::to_string(value) + ", not";
    for (const int64_t may : right) why += " " + std::to_string(may);
    return why;
  }
  return "";
}

// Names in a folder that a list has: files, and none that is unfinished.
std::vector<std::string> listable(const char* folder) {
  std::vector<std::string> names = list_folder(folder);
  std::erase_if(names, [&](const std::string& name) {
    std::error_code error;
    return name.find("AA.MP4") != name.npos || !fs::is_regular_file(folder + name, error);
  });
  return names;
}

std::string text_of(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += " " + name;
  return names.empty() ? " nothing" : text;
}

std::string list_of(Board& board, bool photos) {
  const char* folder = photos ? kPictures : kVideos;
  std::vector<std::string> listed;
  std::vector<std::string> wanted;
  const bool same = poll_until(
      [&] {
        board.media().mark();
        board.media().list(photos);
        // Requests run in their order: the answer to this one stands behind the list.
        board.media().ask(media_channel::kPhoto, media_channel::kSize, "nothing.JPG");
        if (board.media().wait_for("NOTEXIST", seconds(3)).empty()) {
          // Half a frame may have swallowed the end of a hold.
          board.media().send(message(67, {0, 0, 0, 0}));
          return false;
        }
        listed = board.media().listed();
        std::sort(listed.begin(), listed.end());
        wanted = listable(folder);
        return listed == wanted;
      },
      seconds(60));
  if (same) return "";
  return std::string(folder) + " has" + text_of(wanted) + "; listed:" + text_of(listed);
}

std::string hexadecimal(uint64_t value) {
  char text[20];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
  return text;
}

}  // namespace

std::string picture_of(const std::string& path) {
  return hexadecimal(camera_service::picture_checksum(path));
}

std::string shows_confirmed_settings(Board& board) {
  std::string why;
  poll_until([&] { return (why = wrong_setting(board)).empty(); }, seconds(20));
  return why;
}

std::string lists_the_folders(Board& board) {
  if (std::string why = list_of(board, true); !why.empty()) return why;
  return list_of(board, false);
}

std::string keeps_what_was_written(Board& board) {
  const Story& story = board.story();
  std::set<std::string> pictures;
  for (const std::string& name : list_folder(kPictures))
    pictures.insert(picture_of(kPictures + name));
  for (const auto& [name, picture] : story.photos()) {
    if (pictures.contains(picture) || board.deleted.contains(picture)) continue;
    return "photo " + name + " is lost; there are" + text_of(list_folder(kPictures));
  }
  for (const auto& [name, bytes] : story.recordings()) {
    if (bytes <= kSmallVideo || board.deleted.contains(name)) continue;
    std::error_code error;
    const auto size = fs::file_size(kVideos + name, error);
    if (!error && size == bytes) continue;
    return "recording " + name + " of " + std::to_string(bytes) +
           " bytes is lost or cut; there are" + text_of(list_folder(kVideos));
  }
  return "";
}

std::string keeps_firmware_whole(Board& board) {
  constexpr const char* kFirmware = "/tmp/SD0/AmbaSysFW.bin";
  if (board.story().formatted()) return "";
  const std::string firmware = read_file(kFirmware);
  const bool may_be_new = !board.new_firmware.empty();
  if (read_file("/tmp/SD0/holiday.txt") != kHoliday) return "holiday.txt has changed";
  if (firmware == board.old_firmware || (may_be_new && firmware == board.new_firmware)) return "";
  return "AmbaSysFW.bin of " + std::to_string(firmware.size()) +
         " bytes is neither the old nor the new image";
}

std::string stays_small(Board& board, int64_t memory_limit) {
  if (!board.first_footprint()) return "its footprint was never taken";
  std::string why;
  std::optional<Footprint> now;
  poll_until(
      [&] {
        now = footprint_of(board.program_pid());
        why = now ? difference(*board.first_footprint(), *now) : "no process";
        return why.empty();
      },
      seconds(40));
  if (why.empty() && now && memory_limit > 0 && now->anonymous_kb > memory_limit) {
    why = std::to_string(now->anonymous_kb) + " KB of memory, at most " +
          std::to_string(memory_limit);
  }
  return why;
}

std::string lets_nobody_in(Board& board) {
  std::string rules;
  const bool open = poll_until(
      [&] {
        return (rules = run_command({"iptables", "-S", "INPUT"}).output) == "-P INPUT ACCEPT\n";
      },
      seconds(60));
  if (!open) return "the filter is not open: " + rules;
  if (std::string why = changed_file(board.files_outside(), files_outside_the_card());
      !why.empty()) {
    return why;
  }
  for (const std::string& name : list_folder("/tmp/SD0")) {
    static const std::set<std::string> kKnown = {"AmbaSysFW.bin", "firmware",    "fwstep",
                                                 "KRVMEDIA",      "holiday.txt", "FlyctlID",
                                                 "GimbalID",      "VBoardID"};
    if (kKnown.contains(name) || name.find("DataLog") != name.npos) continue;
    return "the card has a file " + name;
  }
  return "";
}

}  // namespace storm
