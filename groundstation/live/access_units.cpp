#include "groundstation/live/access_units.h"

#include <algorithm>

namespace groundstation {
namespace {

constexpr size_t kMaxUnit = size_t{8} << 20;
constexpr size_t kMaxAccessUnit = size_t{16} << 20;

// Unit types that open a new picture when they come behind a slice: delimiter, parameter sets,
// supplementary information and the reserved range of the standard.
bool opens_picture(uint8_t type) { return (type >= 6 && type <= 9) || (type >= 14 && type <= 18); }

}  // namespace

void NalSplitter::feed(std::span<const uint8_t> bytes) {
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  for (size_t i = std::max(scan_, (in_unit_ ? header_ : 0) + 2); i < buffer_.size(); i++) {
    if (buffer_[i] != 1 || buffer_[i - 1] != 0 || buffer_[i - 2] != 0) continue;
    size_t start = i - 2;
    // A fourth byte in front belongs to the start code.
    if (start > (in_unit_ ? header_ : 0) && buffer_[start - 1] == 0) start--;
    if (in_unit_) emit(start);
    in_unit_ = true;
    begin_ = start;
    header_ = i + 1;
    i += 2;
  }
  scan_ = buffer_.size();
  if (!in_unit_ || buffer_.size() - begin_ > kMaxUnit) {
    in_unit_ = false;
    // Up to three zeros may be the beginning of a start code.
    begin_ = buffer_.size() - std::min<size_t>(buffer_.size(), 3);
  }
  if (begin_ > 0) {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<ptrdiff_t>(begin_));
    header_ -= std::min(header_, begin_);
    scan_ -= begin_;
    begin_ = 0;
  }
}

void NalSplitter::emit(size_t end) {
  if (header_ >= end) return;
  sink_(NalUnit{std::span(buffer_).subspan(begin_, end - begin_), header_ - begin_});
}

void NalSplitter::flush() {
  if (in_unit_) emit(buffer_.size());
  in_unit_ = false;
  buffer_.clear();
  begin_ = header_ = scan_ = 0;
}

void AccessUnitBuilder::feed(const NalUnit& unit) {
  const uint8_t type = unit.type();
  if (current_.has_picture && (opens_picture(type) || unit.starts_picture())) flush();
  if (current_.bytes.size() + unit.bytes.size() > kMaxAccessUnit) current_ = {};
  if (unit.is_slice() && !current_.has_picture) {
    current_.has_picture = true;
    current_.is_whole = unit.starts_picture();
  }
  current_.has_sps |= type == kUnitSps;
  current_.has_pps |= type == kUnitPps;
  current_.is_key |= type == kUnitKeySlice;
  current_.bytes.insert(current_.bytes.end(), unit.bytes.begin(), unit.bytes.end());
}

void AccessUnitBuilder::flush() {
  if (!current_.bytes.empty()) sink_(current_);
  current_ = {};
}

}  // namespace groundstation
