// Recordings for the streamer, put together atom by atom.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "media/channel/transfer_rig.h"

namespace media_test {

inline const Bytes kSps{0x67, 1, 2, 3};
inline const Bytes kPps{0x68, 4};

[[nodiscard]] Bytes be32(size_t value);
[[nodiscard]] Bytes atom(const std::string& type, const Bytes& payload);

// How a recording is made; recording() says of what.
struct Form {
  bool avc = true;            // has parameter sets
  bool key_frames = true;     // has a table of them; without one every sample is a key frame
  bool wide_offsets = false;  // of 64 bits
  size_t gap = 0;             // bytes between two samples, each of which is a chunk of its own then
  bool index_first = false;   // stands before the samples
  size_t second_nal = 0;      // bytes of a second NAL unit in every sample
};
// The index of samples of those sizes, whose chunks begin at those places.
[[nodiscard]] Bytes index_of(const std::vector<size_t>& sizes, const std::vector<size_t>& places,
                             const Form& form);

// A recording of one sample per second, each of one NAL unit of that many bytes: the start code
// that it gets takes the place of its length. Every third sample, from the first on, is a key
// frame. Samples lie one after the other.
[[nodiscard]] Bytes recording(const std::vector<size_t>& nal_sizes, const Form& form = {});

}  // namespace media_test
