#include "groundstation/live/picture_counter.h"

#include <algorithm>

namespace groundstation {
namespace {

// Reads bits behind the unit's header byte, without the emulation prevention bytes. Reading past
// the end gives zeros and makes ok() false.
class BitReader {
 public:
  explicit BitReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  [[nodiscard]] bool ok() const { return ok_; }

  uint32_t bit() {
    if (left_ == 0 && !next_byte()) return 0;
    left_--;
    return (byte_ >> left_) & 1U;
  }

  uint32_t bits(uint32_t count) {
    uint32_t value = 0;
    for (uint32_t i = 0; i < count; i++) value = (value << 1) | bit();
    return value;
  }

  // Exp-Golomb, unsigned; more than 31 leading zeros is damage.
  uint32_t ue() {
    uint32_t zeros = 0;
    while (ok_ && bit() == 0) {
      if (++zeros > 31) ok_ = false;
    }
    if (!ok_) return 0;
    return (uint32_t{1} << zeros) - 1 + bits(zeros);
  }

  int32_t se() {
    const uint32_t code = ue();
    const auto half = static_cast<int32_t>((code >> 1) + (code & 1));
    return (code & 1) != 0 ? half : -half;
  }

 private:
  bool next_byte() {
    if (zeros_ >= 2 && at_ < bytes_.size() && bytes_[at_] == 3) {
      at_++;
      zeros_ = 0;
    }
    if (at_ >= bytes_.size()) {
      ok_ = false;
      return false;
    }
    byte_ = bytes_[at_++];
    zeros_ = byte_ == 0 ? zeros_ + 1 : 0;
    left_ = 8;
    return true;
  }

  std::span<const uint8_t> bytes_;
  size_t at_ = 0;
  uint32_t byte_ = 0;
  uint32_t left_ = 0;
  int zeros_ = 0;
  bool ok_ = true;
};

bool is_high_profile(uint32_t profile) {
  constexpr uint32_t kHigh[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
  return std::find(std::begin(kHigh), std::end(kHigh), profile) != std::end(kHigh);
}

void skip_scaling_list(BitReader* reader, int entries) {
  int32_t last = 8;
  int32_t next = 8;
  for (int i = 0; i < entries && reader->ok(); i++) {
    if (next != 0) next = (last + reader->se() % 256 + 256) % 256;
    if (next != 0) last = next;
  }
}

// Returns whether the planes are coded separately.
bool skip_high_profile_part(BitReader* reader) {
  const uint32_t chroma = reader->ue();
  const bool separate = chroma == 3 && reader->bit() == 1;
  reader->ue();   // luma depth
  reader->ue();   // chroma depth
  reader->bit();  // transform bypass
  if (reader->bit() == 1) {
    const int lists = chroma == 3 ? 12 : 8;
    for (int i = 0; i < lists && reader->ok(); i++) {
      if (reader->bit() == 1) skip_scaling_list(reader, i < 6 ? 16 : 64);
    }
  }
  return separate;
}

}  // namespace

std::optional<SequenceParameters> parse_sequence_parameters(std::span<const uint8_t> unit) {
  if (unit.empty()) return std::nullopt;
  BitReader reader(unit.subspan(1));
  const uint32_t profile = reader.bits(8);
  reader.bits(16);  // constraints and level
  reader.ue();      // parameter set number
  const bool separate = is_high_profile(profile) && skip_high_profile_part(&reader);
  const uint32_t bits = reader.ue() + 4;
  if (!reader.ok() || bits < 4 || bits > 16) return std::nullopt;
  return SequenceParameters{bits, separate};
}

void PictureCounter::feed(const NalUnit& unit) {
  const auto body = unit.bytes.subspan(unit.header);
  if (unit.type() == kUnitSps) {
    if (auto parameters = parse_sequence_parameters(body)) parameters_ = parameters;
    return;
  }
  if (!unit.starts_picture() || !parameters_.has_value()) return;
  BitReader reader(body.subspan(1));
  reader.ue();  // first macroblock
  reader.ue();  // slice type
  reader.ue();  // picture parameter set
  if (parameters_->separate_planes) reader.bits(2);
  const uint32_t number = reader.bits(parameters_->frame_number_bits);
  if (reader.ok()) picture(unit.type() == kUnitKeySlice, (body[0] & 0x60) != 0, number);
}

void PictureCounter::picture(bool key, bool reference, uint32_t number) {
  if (key) {
    last_reference_ = number;
    pictures_++;
    return;
  }
  if (!last_reference_.has_value()) return;
  pictures_++;
  const uint32_t mask = (uint32_t{1} << parameters_->frame_number_bits) - 1;
  const uint32_t step = (number - *last_reference_) & mask;
  if (step > 1) {
    gaps_++;
    missing_ += step - 1;
    // What is there now is the new reference, so that one gap counts once.
    last_reference_ = reference ? number : (number - 1) & mask;
  } else if (reference) {
    last_reference_ = number;
  }
}

}  // namespace groundstation
