#include "groundstation/firmware/serve.h"

#include <algorithm>

#include "base/bytes.h"

namespace groundstation {
namespace {

constexpr uint8_t kCameraToBoard = 0x20;  // lower four bits: the board's type
constexpr uint64_t kFirmwareAnswerUs = 1'000'000;
// Chunks are 500 us apart; by then the last one of a request has arrived or is lost.
constexpr uint64_t kFirmwareRequestUs = 50'000;

bool known_board(int type) {
  return type == kBoardGimbal || type == kBoardFlightController || type == kBoardRepeater;
}

}  // namespace

bool FirmwareServe::is_for_us(const flightlink::MavlinkMessage& frame) {
  if ((frame.sysid & 0xF0) != kCameraToBoard) return false;
  const int type = frame.sysid & 0x0F;
  return board_ == 0 ? known_board(type) : type == board_;
}

void FirmwareServe::take(const flightlink::MavlinkMessage& frame, uint64_t now_us) {
  if (!is_for_us(frame)) return;
  heard_us_ = now_us;
  if (const auto report = firmware_report_of(frame)) {
    if (report->state != kFirmwareAnnounced) return;
    if (board_ == 0) board_ = frame.sysid & 0x0F;
    announce(*report);
  } else if (const auto data = firmware_data_of(frame)) {
    if (data->opcode == kOpcodeVersion) version_asked_ = true;
    if (!announced()) return;
    if (data->opcode == kOpcodeChunk) take_chunk(*data);
    if (data->opcode == kOpcodeStart && data->length == kFirmwareMd5) {
      md5_.assign(data->data.begin(), data->data.begin() + kFirmwareMd5);
    }
  }
}

void FirmwareServe::announce(const FirmwareReport& report) {
  const auto size = base::saturate<size_t>(report.slots[0]);
  if (size < 1 || size > kFirmwareMostBytes) return;
  answer_due_ = true;
  if (size == image_.size()) return;  // repeated
  image_.assign(size, 0);
  there_.assign(firmware_chunks(size), false);
  md5_.clear();
  asked_.clear();
  cursor_ = received_ = 0;
}

void FirmwareServe::take_chunk(const FirmwareData& data) {
  const uint32_t index = data.index();
  const std::span<const uint8_t> bytes = data.chunk();
  if (bytes.empty() || bytes.size() != firmware_chunk_of(image_, index).size()) return;
  if (drop_every_ != 0 && ++arrived_ % drop_every_ == 0) {
    dropped_++;
    return;
  }
  // The last one of a request ends it, whatever is missing in front of it.
  if (!asked_.empty() && index == asked_.back()) asked_.clear();
  if (there_[index]) {
    duplicates_++;
    return;
  }
  std::copy(bytes.begin(), bytes.end(),
            image_.begin() + static_cast<ptrdiff_t>(index * kFirmwareChunk));
  there_[index] = true;
  received_++;
}

std::optional<PeerMessage> FirmwareServe::due(uint64_t now_us) {
  if (!announced() || complete()) return std::nullopt;
  // Each state 1 of a gimbal or flight controller brings the MD5; the repeater's comes by itself.
  const bool repeats = md5_.empty() && board_ != kBoardRepeater && now_us >= next_answer_us_;
  if (answer_due_ || repeats) {
    answer_due_ = false;
    next_answer_us_ = now_us + kFirmwareAnswerUs;
    return firmware_report_message(report(kFirmwareAnnounced, kFirmwareOk));
  }
  if (md5_.empty()) return std::nullopt;
  if (!asked_.empty() && now_us < asked_us_ + kFirmwareRequestUs) return std::nullopt;
  return request(now_us);
}

// The next missing chunks; behind the last one it begins anew with the first that is missing.
PeerMessage FirmwareServe::request(uint64_t now_us) {
  FirmwareReport wish = report(kFirmwareRequesting, kFirmwareOk);
  asked_.clear();
  asked_us_ = now_us;
  while (asked_.size() < kFirmwareSlots) {
    const auto next =
        std::find(there_.begin() + static_cast<ptrdiff_t>(cursor_), there_.end(), false);
    if (next == there_.end()) {
      cursor_ = 0;
      if (!asked_.empty()) break;
      continue;
    }
    cursor_ = static_cast<size_t>(next - there_.begin()) + 1;
    wish.slots[asked_.size()] = static_cast<float>(cursor_ - 1);
    asked_.push_back(static_cast<uint32_t>(cursor_ - 1));
  }
  return firmware_report_message(wish);
}

PeerMessage FirmwareServe::verdict(bool good) const {
  return firmware_report_message(good ? report(kFirmwareFinished, kFirmwareOk)
                                      : report(kFirmwareAborted, kFirmwareFailed));
}

FirmwareReport FirmwareServe::report(uint8_t state, uint8_t result) {
  return {state, kBoardCamera, result, empty_firmware_slots()};
}

}  // namespace groundstation
