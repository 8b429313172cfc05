// A board's side of an update that the camera pushes, without sockets and clock: takes the camera's
// frames, says what to send when, and holds the image.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "groundstation/firmware/messages.h"

namespace groundstation {

class FirmwareServe {
 public:
  // `board`: which one to play; 0: that of the first announcement. Each `drop_every`-th chunk that
  // arrives is lost; 0 none.
  FirmwareServe(uint8_t board, uint32_t drop_every) : board_(board), drop_every_(drop_every) {}

  void take(const flightlink::MavlinkMessage& frame, uint64_t now_us);
  // What has to leave now, if anything, with the system id system(). Times are monotonic
  // microseconds.
  [[nodiscard]] std::optional<PeerMessage> due(uint64_t now_us);
  // The last word; to be sent a few times, since nothing acknowledges it.
  [[nodiscard]] PeerMessage verdict(bool good) const;

  [[nodiscard]] uint8_t board() const { return board_; }
  [[nodiscard]] uint8_t system() const { return static_cast<uint8_t>(board_ << 4 | 8); }
  [[nodiscard]] bool announced() const { return !image_.empty(); }
  [[nodiscard]] uint64_t heard_us() const { return heard_us_; }
  // Every chunk and the MD5 are there.
  [[nodiscard]] bool complete() const {
    return announced() && received_ == there_.size() && !md5_.empty();
  }
  [[nodiscard]] std::span<const uint8_t> image() const { return image_; }
  [[nodiscard]] const std::string& md5() const { return md5_; }
  [[nodiscard]] size_t count() const { return there_.size(); }
  [[nodiscard]] size_t received() const { return received_; }
  [[nodiscard]] size_t dropped() const { return dropped_; }
  [[nodiscard]] size_t duplicates() const { return duplicates_; }
  // Whether the camera asked for the version meanwhile.
  [[nodiscard]] bool version_asked() const { return version_asked_; }

 private:
  bool is_for_us(const flightlink::MavlinkMessage& frame);
  void announce(const FirmwareReport& report);
  void take_chunk(const FirmwareData& data);
  [[nodiscard]] PeerMessage request(uint64_t now_us);
  [[nodiscard]] static FirmwareReport report(uint8_t state, uint8_t result);

  uint8_t board_;
  uint32_t drop_every_;
  uint64_t heard_us_ = 0;
  std::vector<uint8_t> image_;
  std::vector<bool> there_;
  std::string md5_;
  bool answer_due_ = false;
  uint64_t next_answer_us_ = 0;
  // The request that is under way, and where the next one begins to look.
  std::vector<uint32_t> asked_;
  uint64_t asked_us_ = 0;
  size_t cursor_ = 0;
  size_t arrived_ = 0;
  size_t received_ = 0;
  size_t dropped_ = 0;
  size_t duplicates_ = 0;
  bool version_asked_ = false;
};

}  // namespace groundstation
