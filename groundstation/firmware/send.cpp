#include "groundstation/firmware/send.h"

#include <utility>

#include "base/bytes.h"

namespace groundstation {
namespace {

constexpr uint64_t kFirmwareRepeatUs = 1'000'000;
// The camera's rounds are 200 ms apart; it is silent while it writes the image. A start then tells
// whether its final report was lost.
constexpr uint64_t kFirmwareQuietUs = 2'000'000;

}  // namespace

FirmwareSend::FirmwareSend(std::span<const uint8_t> image, std::string md5, const Options& options)
    : image_(image), md5_(std::move(md5)), options_(options), was_sent_(count()) {}

std::optional<PeerMessage> FirmwareSend::due(uint64_t now_us) {
  if (moved_us_ == 0) moved_us_ = heard_us_ = now_us;
  if (ended() || now_us < next_send_us_) return std::nullopt;
  if (phase_ == Phase::kSending) {
    if (now_us < moved_us_ + kFirmwareQuietUs) return std::nullopt;
    probed_ = true;
  }
  next_send_us_ = now_us + kFirmwareRepeatUs;
  return phase_ == Phase::kAnnouncing ? firmware_announcement(image_.size())
                                      : firmware_start_message(md5_);
}

void FirmwareSend::enter(Phase phase, uint64_t now_us) {
  phase_ = phase;
  moved_us_ = now_us;
  next_send_us_ = now_us;
}

void FirmwareSend::take(const FirmwareReport& report, uint64_t now_us, const Sender& send) {
  if (report.board != kBoardApplication || ended()) return;
  heard_us_ = now_us;
  switch (report.state) {
    case kFirmwareAnnounced:
      if (phase_ != Phase::kAnnouncing) return;
      if (report.result == kFirmwareOk || (report.result == kFirmwareBusy && options_.resume)) {
        enter(Phase::kStarting, now_us);
      } else {
        enter(report.result == kFirmwareBusy ? Phase::kBusy : Phase::kNoRoom, now_us);
      }
      return;
    case kFirmwareRequesting:
      // Before our start these are another sender's, unless we are to take its place.
      if (phase_ == Phase::kAnnouncing) return;
      phase_ = Phase::kSending;
      moved_us_ = now_us;
      probed_ = false;
      answer(report, send);
      return;
    case kFirmwareFinished:
      if (phase_ != Phase::kAnnouncing) finished(report.result, now_us);
      return;
    default:
      return;
  }
}

void FirmwareSend::finished(uint8_t result, uint64_t now_us) {
  if (result == kFirmwareOk) {
    enter(Phase::kDone, now_us);
  } else if (result == kFirmwareBusy) {
    // Our start has arrived, before or just now.
    if (phase_ == Phase::kStarting) {
      phase_ = Phase::kSending;
      moved_us_ = now_us;
    }
    probed_ = false;
  } else {
    const bool forgotten = phase_ == Phase::kStarting || probed_;
    enter(forgotten ? Phase::kForgotten : Phase::kBadMd5, now_us);
  }
}

void FirmwareSend::answer(const FirmwareReport& report, const Sender& send) {
  for (const float slot : report.slots) {
    if (!(slot >= 0)) continue;  // NaN as well
    const auto index = base::saturate<uint32_t>(slot);
    const std::span<const uint8_t> bytes = firmware_chunk_of(image_, index);
    if (bytes.empty()) continue;
    asked_++;
    if (options_.drop_every != 0 && asked_ % options_.drop_every == 0) {
      dropped_++;
      continue;
    }
    send(firmware_chunk_message(index, bytes));
    sent_++;
    if (!was_sent_[index]) covered_++;
    was_sent_[index] = true;
  }
}

}  // namespace groundstation
