// Counts pictures of an H.264 stream and notices missing ones by their frame numbers (ITU-T H.264,
// 7.3.2.1, 7.3.3 and 7.4.3). Pictures that nothing refers to, and those lost right before a key
// picture, cannot be noticed. One thread per object.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "groundstation/live/access_units.h"

namespace groundstation {

// The bits of a sequence parameter set that a slice header needs.
struct SequenceParameters {
  uint32_t frame_number_bits;  // 4 to 16
  bool separate_planes;        // a slice header then has a two-bit plane number
};

// `unit` without start code, from its header byte on. Nothing for a damaged one.
[[nodiscard]] std::optional<SequenceParameters> parse_sequence_parameters(
    std::span<const uint8_t> unit);

class PictureCounter {
 public:
  // Every unit of the stream in order. Counting begins with the first key picture.
  void feed(const NalUnit& unit);

  [[nodiscard]] uint64_t pictures() const { return pictures_; }
  [[nodiscard]] uint64_t gaps() const { return gaps_; }
  [[nodiscard]] uint64_t missing() const { return missing_; }

 private:
  void picture(bool key, bool reference, uint32_t number);

  std::optional<SequenceParameters> parameters_;
  std::optional<uint32_t> last_reference_;  // frame number of the last picture that others refer to
  uint64_t pictures_ = 0;
  uint64_t gaps_ = 0;
  uint64_t missing_ = 0;
};

}  // namespace groundstation
