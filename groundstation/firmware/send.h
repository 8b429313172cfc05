// The application's side of an update of the camera's own firmware, without sockets and clock: what
// to send when, and what the camera's reports mean.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "groundstation/firmware/messages.h"

namespace groundstation {

class FirmwareSend {
 public:
  enum class Phase {
    kAnnouncing,  // no answer to the announcement yet
    kStarting,    // the camera has room; it has not asked for a chunk yet
    kSending,     // it asks
    kDone,        // it has confirmed the image
    kNoRoom,      // it refuses the announced size
    kBusy,        // a transfer has been started before, and we are not to go on with it
    kForgotten,   // it knows of no announcement, so it has been started anew meanwhile
    kBadMd5,      // it has the whole image, and its MD5 differs
  };
  struct Options {
    bool resume = false;      // go on with a transfer that runs
    uint32_t drop_every = 0;  // each so many-th chunk is not sent, as if it were lost; 0 none
  };
  using Sender = std::function<void(const PeerMessage&)>;

  // `image` outlives this.
  FirmwareSend(std::span<const uint8_t> image, std::string md5, const Options& options);

  // What has to leave now, if anything. Times are monotonic microseconds.
  [[nodiscard]] std::optional<PeerMessage> due(uint64_t now_us);
  // Takes a report of the camera; `send` gets the chunks that it asks for.
  void take(const FirmwareReport& report, uint64_t now_us, const Sender& send);

  [[nodiscard]] Phase phase() const { return phase_; }
  [[nodiscard]] bool ended() const { return phase_ >= Phase::kDone; }
  // Since when the transfer has not gone on: no phase change and no request.
  [[nodiscard]] uint64_t stands_since_us() const { return moved_us_; }
  // Since when nothing at all has come, not even that it is busy.
  [[nodiscard]] uint64_t silent_since_us() const { return heard_us_; }

  [[nodiscard]] size_t count() const { return firmware_chunks(image_.size()); }
  [[nodiscard]] size_t covered() const { return covered_; }  // chunks sent at least once
  [[nodiscard]] size_t sent() const { return sent_; }
  [[nodiscard]] size_t dropped() const { return dropped_; }

 private:
  void enter(Phase phase, uint64_t now_us);
  void finished(uint8_t result, uint64_t now_us);
  void answer(const FirmwareReport& report, const Sender& send);

  std::span<const uint8_t> image_;
  std::string md5_;
  Options options_;
  Phase phase_ = Phase::kAnnouncing;
  uint64_t moved_us_ = 0;
  uint64_t heard_us_ = 0;
  uint64_t next_send_us_ = 0;
  bool probed_ = false;  // a start has been repeated, and nothing has come since
  std::vector<bool> was_sent_;
  size_t covered_ = 0;
  size_t asked_ = 0;
  size_t sent_ = 0;
  size_t dropped_ = 0;
};

}  // namespace groundstation
