// Any frames to the ground station: the camera's messages as events, as texts and as JSON, those of an
// application's session, both ends of a firmware update; and the texts that a user gives it. Each
// step is one byte (Step) and what it needs.
#include <algorithm>
#include <sstream>
#include <string>

#include "base/bytes.h"
#include "fuzz/messages.h"
#include "fuzz/support.h"
#include "groundstation/firmware/messages.h"
#include "groundstation/firmware/send.h"
#include "groundstation/firmware/serve.h"
#include "groundstation/flightside/app_frames.h"
#include "groundstation/messages/camera_messages.h"
#include "groundstation/messages/telemetry_file.h"
#include "groundstation/terminal/output.h"

namespace {

using namespace groundstation;  // NOLINT

enum Step : uint8_t { kFrame, kFrameAgain, kTime, kAppText, kTelemetry, kSteps };

constexpr float kLargestImage = 20000;
constexpr size_t kOwnImage = 1000;

struct Updates {
  std::vector<uint8_t> image = std::vector<uint8_t>(kOwnImage, 'i');
  FirmwareSend send{image, std::string(kFirmwareMd5, 'a'), {}};
  FirmwareServe serve{0, 0};
  uint64_t now_us = 1;
};

void check_json(const nlohmann::json& object) {
  const std::string line = json_line(object);
  fuzz::check(line.find('\n') == std::string::npos, "two lines", line);
  fuzz::check(nlohmann::json::accept(line), "no JSON", line);
}

void check_events(const flightlink::MavlinkMessage& frame) {
  if (const auto event = decode_camera_message(frame)) {
    fuzz::check(!event_text(*event).empty(), "no text");
    check_json(event_json(*event));
  }
  fuzz::check(!app_frame_text(frame).empty(), "no text");
  fuzz::check(app_frame_json(frame).is_object(), "no object");
}

// The frame is what a stream of its bytes gives.
void check_stream(const flightlink::MavlinkMessage& frame) {
  const AppFrame sent{{frame.msgid, {frame.payload, frame.payload + frame.len}}, frame.sysid};
  AppStream stream;
  int frames = 0;
  stream.feed(app_frame_bytes(sent, 7), [&](const flightlink::MavlinkMessage& got) {
    fuzz::check(got.msgid == frame.msgid && got.sysid == frame.sysid && got.seq == 7, "header");
    fuzz::check(
        std::equal(got.payload, got.payload + got.len, frame.payload, frame.payload + frame.len),
        "payload");
    frames++;
  });
  fuzz::check(frames == 1, "frames");
}

bool is_huge_announcement(const flightlink::MavlinkMessage& frame) {
  const auto report = firmware_report_of(frame);
  return report.has_value() && report->slots[0] > kLargestImage;
}

void update(Updates& updates, const flightlink::MavlinkMessage& frame) {
  // Room for hundreds of megabytes would cost the search its speed, and show nothing else.
  if (is_huge_announcement(frame)) return;
  updates.serve.take(frame, updates.now_us);
  if (const auto report = firmware_report_of(frame)) {
    updates.send.take(*report, updates.now_us, [](const PeerMessage& chunk) {
      fuzz::check(chunk.payload.size() == 254, "a chunk's size");
    });
  }
}

void check_updates(Updates& updates) {
  for (const auto& message :
       {updates.send.due(updates.now_us), updates.serve.due(updates.now_us)}) {
    if (message.has_value()) fuzz::check(message->payload.size() <= 254, "a message's size");
  }
  const FirmwareServe& serve = updates.serve;
  fuzz::check(serve.count() == firmware_chunks(serve.image().size()), "count of chunks");
  fuzz::check(serve.received() <= serve.count(), "more chunks than there are");
  fuzz::check(!serve.complete() || serve.md5().size() == kFirmwareMd5, "complete without MD5");
  const FirmwareSend& send = updates.send;
  fuzz::check(send.covered() <= send.count() && send.covered() <= send.sent(), "chunks sent");
}

void check_app_text(const std::string& text) {
  const auto frame = parse_app_frame(text, 4);
  if (!frame.has_value()) return;
  std::string hex;
  for (const uint8_t byte : frame->message.payload) {
    constexpr const char* kDigits = "0123456789abcdef";
    hex += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  const std::string again =
      std::to_string(frame->message.msgid) + ":" + hex + "@" + std::to_string(frame->sysid);
  const auto second = parse_app_frame(again, 5);
  fuzz::check(second.has_value() && second->sysid == frame->sysid &&
                  second->message.payload == frame->message.payload,
              "not the same when written out", again);
}

void check_telemetry(const std::string& text) {
  std::istringstream input(text);
  const TelemetryFile file = read_telemetry(input);
  const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  fuzz::check(file.messages.size() <= lines, "more messages than lines");
  for (const Telemetry& message : file.messages) {
    fuzz::check(telemetry_message(message).payload.size() <= 64, "a message's size");
  }
}

void take_step(fuzz::Input& input, Updates& updates) {
  switch (static_cast<Step>(input.byte() % kSteps)) {
    case kFrame:
    case kFrameAgain: {
      const flightlink::MavlinkMessage frame = fuzz::take_message(input);
      check_events(frame);
      check_stream(frame);
      return update(updates, frame);
    }
    case kTime:
      updates.now_us += uint64_t{input.byte()} * 20000;
      return;
    case kAppText:
      return check_app_text(std::string(fuzz::text_of(input.until('\n'))));
    default:
      return check_telemetry(std::string(fuzz::text_of(input.until('\0'))));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Updates updates;
  fuzz::Input input(bytes, size);
  while (!input.empty()) {
    take_step(input, updates);
    check_updates(updates);
  }
  return 0;
}
