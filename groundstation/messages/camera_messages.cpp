#include "groundstation/messages/camera_messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/bytes.h"

namespace groundstation {
namespace {

using flightlink::MavlinkMessage;
using nlohmann::json;

constexpr uint8_t kCommandLongLength = 33;

std::optional<CameraEvent> decode_heartbeat(const MavlinkMessage& message) {
  const uint8_t status = message.payload[7];
  return CameraHeartbeat{(status & 1) != 0, (status & 2) != 0, (status & 4) != 0};
}

// A text of at most `size` bytes, ended by a zero unless it fills them.
std::string field_text(const uint8_t* bytes, size_t size) {
  return {bytes, std::find(bytes, bytes + size, uint8_t{0})};
}

std::optional<CameraEvent> decode_parameter(const MavlinkMessage& message) {
  const uint8_t* bytes = message.payload;
  return Parameter{base::load_u16le(bytes + 4), base::load_u16le(bytes + 6),
                   field_text(bytes + 8, 16), field_text(bytes + 24, 30)};
}

std::optional<CameraEvent> decode_camera_ack(const MavlinkMessage& message) {
  const uint8_t* bytes = message.payload;
  if (bytes[2] == 111) return CameraAck{bytes[1], bytes[3], 0, true};
  return CameraAck{bytes[1], bytes[4], bytes[5], false};
}

std::optional<CameraEvent> decode_sd_report(const MavlinkMessage& message) {
  return SdReport{base::load_f32le(message.payload), base::load_f32le(message.payload + 4),
                  message.payload[10]};
}

std::optional<CameraEvent> decode_command_ack(const MavlinkMessage& message) {
  return CommandAck{base::load_u16le(message.payload), message.payload[2]};
}

std::optional<CameraEvent> decode_application_record(const MavlinkMessage& message) {
  const uint8_t* bytes = message.payload;
  const uint16_t command = base::load_u16le(bytes + 28);
  const uint8_t component = bytes[31];
  if (command == 2) return decode_camera_status(bytes, message.len);
  if (command != 202) return std::nullopt;
  if (component == 3) return RecordTick{base::saturate<uint32_t>(base::load_f32le(bytes))};
  if (component == 16) return TimelapseRecord{base::load_f32le(bytes), base::load_u32le(bytes + 4)};
  return std::nullopt;
}

std::optional<CameraEvent> decode_flight_record(const MavlinkMessage& message) {
  const uint8_t* bytes = message.payload;
  if (base::load_u16le(bytes + 28) != 2) return std::nullopt;
  return CameraReport{base::saturate<int>(base::load_f32le(bytes)),
                      base::saturate<int>(base::load_f32le(bytes + 4))};
}

struct Row {
  uint8_t msgid;
  uint8_t sysid;
  uint8_t length;
  std::optional<CameraEvent> (*decode)(const MavlinkMessage& message);
};

constexpr Row kRows[] = {
    {0, kSystemPeer, 9, decode_heartbeat},
    {22, kSystemApplication, 55, decode_parameter},
    {52, kSystemApplication, 7, decode_camera_ack},
    {57, kSystemApplication, 11, decode_sd_report},
    {76, kSystemApplication, kCommandLongLength, decode_application_record},
    {76, kSystemFlightController, kCommandLongLength, decode_flight_record},
    {77, kSystemApplication, 3, decode_command_ack},
    {77, kSystemFlightController, 3, decode_command_ack},
};

const char* outcome(uint8_t result) { return result == kResultDone ? "done" : "failed"; }

std::string report_text(const CameraReport& report) {
  switch (report.code) {
    case kReportPhotoTaken:
      return "photo taken";
    case kReportRecordingStarted:
      return "recording started";
    case kReportRecordingStopped:
      return "recording stopped";
    case kReportTimelapse:
      return fmt::format("time-lapse {}", report.state == 0   ? "running"
                                          : report.state == 1 ? "paused"
                                                              : "ended");
    default:
      return fmt::format("camera report {}", report.code);
  }
}

struct TextOf {
  std::string operator()(const CameraHeartbeat& beat) const {
    return fmt::format("heartbeat: stream {}, {}recording{}", beat.stream_on ? "on" : "off",
                       beat.recording ? "" : "not ", beat.test_mode ? ", test mode" : "");
  }
  std::string operator()(const CameraStatus&) const { return "status record"; }
  std::string operator()(const CameraAck& ack) const {
    if (ack.clock) return fmt::format("clock setting {}", outcome(ack.result));
    return fmt::format("setting {} {}, value {}", ack.subject, outcome(ack.result), ack.value);
  }
  std::string operator()(const SdReport& report) const {
    if (report.total_mb > 0) {
      return fmt::format("SD card: {}, {:.0f} of {:.0f} MB free", sd_code_text(report.code),
                         report.free_mb, report.total_mb);
    }
    return fmt::format("SD card: {}", sd_code_text(report.code));
  }
  std::string operator()(const CommandAck& ack) const {
    return fmt::format("command {} {}", ack.command, outcome(ack.result));
  }
  std::string operator()(const CameraReport& report) const { return report_text(report); }
  std::string operator()(const RecordTick& tick) const {
    return fmt::format("recording for {} s", tick.seconds);
  }
  std::string operator()(const TimelapseRecord& record) const {
    return fmt::format("time-lapse record: {:.0f} shots", record.shots);
  }
  std::string operator()(const Parameter& parameter) const {
    return fmt::format("parameter {} of {}: {} = {}", parameter.index, parameter.count,
                       parameter.name, parameter.value);
  }
};

struct JsonOf {
  json operator()(const CameraHeartbeat& beat) const {
    return {{"event", "heartbeat"},
            {"stream_on", beat.stream_on},
            {"test_mode", beat.test_mode},
            {"recording", beat.recording}};
  }
  json operator()(const CameraStatus& status) const {
    json object = status_json(status);
    object["event"] = "status";
    return object;
  }
  json operator()(const CameraAck& ack) const {
    return {{"event", ack.clock ? "clock_ack" : "camera_ack"},
            {"subject", ack.subject},
            {"result", ack.result},
            {"value", ack.value}};
  }
  json operator()(const SdReport& report) const {
    return {{"event", "sd_report"},
            {"total_mb", report.total_mb},
            {"free_mb", report.free_mb},
            {"code", report.code},
            {"card", sd_code_text(report.code)}};
  }
  json operator()(const CommandAck& ack) const {
    return {{"event", "command_ack"}, {"command", ack.command}, {"result", ack.result}};
  }
  json operator()(const CameraReport& report) const {
    return {{"event", "camera_report"}, {"code", report.code}, {"text", report_text(report)}};
  }
  json operator()(const RecordTick& tick) const {
    return {{"event", "record_tick"}, {"seconds", tick.seconds}};
  }
  json operator()(const TimelapseRecord& record) const {
    return {{"event", "timelapse_record"}, {"shots", record.shots}, {"counts", record.counts}};
  }
  json operator()(const Parameter& parameter) const {
    return {{"event", "parameter"},
            {"count", parameter.count},
            {"index", parameter.index},
            {"name", parameter.name},
            {"value", parameter.value}};
  }
};

}  // namespace

std::optional<CameraEvent> decode_camera_message(const MavlinkMessage& message) {
  for (const Row& row : kRows) {
    if (message.msgid != row.msgid || message.sysid != row.sysid) continue;
    if (message.len < row.length) return std::nullopt;
    return row.decode(message);
  }
  return std::nullopt;
}

std::string event_text(const CameraEvent& event) { return std::visit(TextOf{}, event); }

json event_json(const CameraEvent& event) { return std::visit(JsonOf{}, event); }

}  // namespace groundstation
