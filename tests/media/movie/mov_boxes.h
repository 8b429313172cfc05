// MP4 files for the tests, made by hand atom by atom.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "media/movie/index.h"
#include "support/photo.h"

namespace media_test {

// Big-endian u32 values one after the other.
[[nodiscard]] Bytes be32(const std::vector<uint32_t>& values);

// An atom with a size of 32 or 64 bits, and one whose payload begins with version 0 and flags 0.
[[nodiscard]] Bytes box(const std::string& type, const Bytes& payload = {});
[[nodiscard]] Bytes long_box(const std::string& type, const Bytes& payload = {});
[[nodiscard]] Bytes full_box(const std::string& type, const Bytes& payload);

// A table atom: version and flags, the number of entries, the words of the entries.
[[nodiscard]] Bytes table(const std::string& type, uint32_t count,
                          const std::vector<uint32_t>& words);

// A `tkhd` of that track: creation time 11, modification time 12, duration 13.
[[nodiscard]] Bytes tkhd(uint32_t track_id, uint32_t width, uint32_t height);
// An `mdhd`: creation time 21, modification time 22, duration 23, language "und".
[[nodiscard]] Bytes mdhd(uint32_t time_scale);
// A sample description `avc1` of 1280x720 with an `avcC` record behind it: High profile, level 4.1,
// prefixes of 4 bytes. Lengths are those of the sets.
[[nodiscard]] Bytes avc_description(const Bytes& sps, const Bytes& pps);

// The tables of a track. `stsz` holds one size per sample.
struct Tables {
  std::vector<uint32_t> stts = {100, 1};
  std::vector<uint32_t> stsc = {1, 10, 1};
  std::vector<uint32_t> stco = {1000, 5000};
  std::vector<uint32_t> stss = {};  // without any there is no such atom
  std::vector<uint32_t> stsz = std::vector<uint32_t>(100, 100);
  uint32_t time_scale = 1;
};
// A `trak` with a picture size of 1280x720.
[[nodiscard]] Bytes video_track(const Tables& tables);
// A `trak` without a picture size, of one sample.
[[nodiscard]] Bytes audio_track();

// A file that says its duration in milliseconds and holds nothing else.
[[nodiscard]] Bytes movie_of(uint32_t ms);

// What mov_atom_handler makes of the bytes, which are `moov` or part of it. Output is swallowed.
struct Indexed {
  explicit Indexed(Bytes atoms);
  Bytes bytes;
  media::MovIndexOwner index;
  int32_t walked;
  std::string output;
  std::string errors;
};

// The bytes as an open file, without a name.
[[nodiscard]] base::File open_bytes(const Bytes& bytes);

}  // namespace media_test

namespace media {

using media_test::be32;
using media_test::box;
using media_test::long_box;

}  // namespace media
