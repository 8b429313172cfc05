#include "media/movie/description.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "base/bytes.h"
#include "media/movie/atoms.h"

namespace media {
namespace {

constexpr uint64_t kReserved = 6;  // bytes behind the format

struct DescriptionFree {
  void operator()(MovSampleDescription* description) const { mov_description_free(description); }
};
using DescriptionOwner = std::unique_ptr<MovSampleDescription, DescriptionFree>;

// Reads fields one after the other; behind the end of the bytes everything is 0.
class Fields {
 public:
  Fields(const uint8_t* at, uint64_t left) : at_(at), left_(left) {}

  uint8_t u8() {
    uint8_t byte = 0;
    copy(&byte, 1);
    return byte;
  }
  uint16_t u16() {
    uint8_t bytes[2];
    copy(bytes, sizeof(bytes));
    return base::load_u16be(bytes);
  }
  uint32_t u32() {
    uint8_t bytes[4];
    copy(bytes, sizeof(bytes));
    return mov_load_u32(bytes);
  }
  void copy(uint8_t* to, size_t size) {
    std::memset(to, 0, size);
    const auto there = static_cast<size_t>(std::min<uint64_t>(size, left_));
    if (there > 0) std::memcpy(to, at_, there);
    skip(there);
  }
  [[nodiscard]] bool holds(uint64_t size) const { return left_ >= size; }
  [[nodiscard]] const uint8_t* at() const { return at_; }
  void skip(uint64_t size) {
    const uint64_t there = std::min(size, left_);
    at_ += there;
    left_ -= there;
  }

 private:
  const uint8_t* at_;
  uint64_t left_;
};

// Takes `count` parameter sets and keeps the first. False when memory is exhausted.
bool take_sets(Fields* fields, uint8_t count, uint16_t* length, uint8_t** set) {
  for (uint8_t i = 0; i < count; i++) {
    const uint16_t size = fields->u16();
    if (i == 0 && size > 0 && fields->holds(size)) {
      *set = static_cast<uint8_t*>(std::malloc(size));
      if (*set == nullptr) return false;
      std::memcpy(*set, fields->at(), size);
      *length = size;
    }
    fields->skip(size);
  }
  return true;
}

bool parse_avc(Fields* fields, MovSampleDescription* description) {
  auto* avc = new (std::nothrow) MovAvcConfiguration{};
  if (avc == nullptr) return false;
  description->avc = avc;
  avc->configuration_version = fields->u8();
  avc->profile = fields->u8();
  avc->profile_compatibility = fields->u8();
  avc->level = fields->u8();
  const uint8_t lengths = fields->u8();
  avc->length_reserved = static_cast<uint8_t>(lengths >> 2);
  avc->nal_length_size = static_cast<uint8_t>((lengths & 3) + 1);
  const uint8_t sets = fields->u8();
  avc->sps_count = sets & 31;
  avc->sps_reserved = static_cast<uint8_t>(sets >> 5);
  if (!take_sets(fields, avc->sps_count, &avc->sps_length, &avc->sps)) return false;
  avc->pps_count = fields->u8();
  return take_sets(fields, avc->pps_count, &avc->pps_length, &avc->pps);
}

}  // namespace

MovSampleDescription* mov_description_parse(const uint8_t* bytes, uint64_t size) {
  DescriptionOwner owner(new (std::nothrow) MovSampleDescription{});
  MovSampleDescription* to = owner.get();
  if (to == nullptr) return nullptr;
  Fields fields(bytes, size);
  to->size = fields.u32();
  to->format = fields.u32();
  fields.skip(kReserved);
  to->data_reference = fields.u16();
  to->version = fields.u16();
  to->revision = fields.u16();
  to->vendor = fields.u32();
  to->temporal_quality = fields.u32();
  to->spatial_quality = fields.u32();
  to->width = fields.u16();
  to->height = fields.u16();
  to->horizontal_resolution = fields.u32();
  to->vertical_resolution = fields.u32();
  to->data_size = fields.u32();
  to->frame_count = fields.u16();
  fields.copy(to->compressor, sizeof(to->compressor));
  to->depth = fields.u16();
  to->colour_table = fields.u16();
  to->next_size = fields.u32();
  to->next_type = fields.u32();
  if (to->next_type == mov_type("avcC") && !parse_avc(&fields, to)) return nullptr;
  return owner.release();
}

void mov_description_free(MovSampleDescription* description) {
  if (description == nullptr) return;
  if (description->avc != nullptr) {
    std::free(description->avc->sps);
    std::free(description->avc->pps);
    delete description->avc;
  }
  delete description;
}

}  // namespace media
