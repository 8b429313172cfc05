// The first sample description of a track, with its H.264 parameter sets.
#pragma once

#include <cstdint>

namespace media {

// An `avcC` record. Only the first parameter set of each kind is kept. A set that does not fit into
// its atom is null with the length 0.
struct MovAvcConfiguration {
  uint8_t configuration_version;
  uint8_t profile;
  uint8_t profile_compatibility;
  uint8_t level;
  uint8_t length_reserved;  // the six reserved bits of the byte that holds nal_length_size
  uint8_t nal_length_size;  // 1 to 4
  uint8_t sps_count;
  uint8_t sps_reserved;  // the three reserved bits of the byte that holds sps_count
  uint16_t sps_length;
  uint8_t* sps;
  uint8_t pps_count;
  uint16_t pps_length;
  uint8_t* pps;
};

// Fields that lie beyond the end of the atom are 0.
struct MovSampleDescription {
  uint32_t size;
  uint32_t format;
  uint16_t data_reference;
  uint16_t version;
  uint16_t revision;
  uint32_t vendor;
  uint32_t temporal_quality;
  uint32_t spatial_quality;
  uint16_t width;
  uint16_t height;
  uint32_t horizontal_resolution;
  uint32_t vertical_resolution;
  uint32_t data_size;
  uint16_t frame_count;
  uint8_t compressor[32];
  uint16_t depth;
  uint16_t colour_table;
  uint32_t next_size;  // the header of the atom that follows
  uint32_t next_type;
  MovAvcConfiguration* avc;  // null unless next_type is `avcC`
};

// Parses what follows the entry count of an `stsd` atom. Null when memory is exhausted. To be freed
// with mov_description_free.
[[nodiscard]] MovSampleDescription* mov_description_parse(const uint8_t* bytes, uint64_t size);

void mov_description_free(MovSampleDescription* description);

}  // namespace media
