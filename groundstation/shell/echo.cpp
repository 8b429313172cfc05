#include "groundstation/shell/echo.h"

#include <algorithm>
#include <array>

namespace groundstation {
namespace {

// A report may come behind the acknowledgement that ends a command.
constexpr uint64_t kReportsComeUs = 3'000'000;

bool is_ack(const CameraEvent& event) { return std::holds_alternative<CameraAck>(event); }

bool is_mode_ack(const CameraEvent& event) {
  const auto* ack = std::get_if<CameraAck>(&event);
  return ack != nullptr && !ack->clock && ack->subject == kSubjectMode;
}

bool is_command_ack(const CameraEvent& event, uint16_t command) {
  const auto* ack = std::get_if<CommandAck>(&event);
  return ack != nullptr && ack->command == command;
}

bool is_report(const CameraEvent& event, int code) {
  const auto* report = std::get_if<CameraReport>(&event);
  return report != nullptr && report->code == code;
}

// A command asks for the card in its doubts.
bool of_photo(const CameraEvent& event) {
  return is_mode_ack(event) || is_command_ack(event, kAckPhoto) ||
         is_report(event, kReportPhotoTaken) || std::holds_alternative<SdReport>(event);
}

bool of_start(const CameraEvent& event) {
  return is_mode_ack(event) || is_command_ack(event, kAckRecordStart) ||
         is_report(event, kReportRecordingStarted);
}

bool of_stop(const CameraEvent& event) {
  return is_command_ack(event, kAckRecordStop) || is_report(event, kReportRecordingStopped);
}

bool of_timelapse(const CameraEvent& event) {
  return is_ack(event) || of_start(event) || of_stop(event) || is_report(event, kReportTimelapse) ||
         std::holds_alternative<TimelapseRecord>(event);
}

bool of_format(const CameraEvent& event) {
  return is_ack(event) || std::holds_alternative<SdReport>(event);
}

bool of_params(const CameraEvent& event) { return std::holds_alternative<Parameter>(event); }

struct Row {
  const char* path;
  bool (*explains)(const CameraEvent& event);
};

constexpr Row kRows[] = {
    {"photo", of_photo},
    {"record start", of_start},
    {"record stop", of_stop},
    {"mode", is_mode_ack},
    {"set", is_ack},
    {"defaults", is_ack},
    {"format", of_format},
    {"clock", is_ack},
    {"timelapse start", of_timelapse},
    {"params", of_params},
    {"timelapse stop", of_timelapse},
};

}  // namespace

void OwnCommands::begin(const std::string& path) { given_.push_back({path, UINT64_MAX}); }

void OwnCommands::end(uint64_t now_us) {
  given_.back().until_us = now_us + kReportsComeUs;
  std::erase_if(given_, [&](const Given& given) { return given.until_us <= now_us; });
}

bool OwnCommands::explain(const CameraEvent& event, uint64_t now_us) const {
  return std::any_of(given_.begin(), given_.end(), [&](const Given& given) {
    return now_us < given.until_us &&
           std::any_of(std::begin(kRows), std::end(kRows), [&](const Row& row) {
             return row.path == given.path && row.explains(event);
           });
  });
}

}  // namespace groundstation
