#include "media/channel/streamed_recording.h"

#include <string>

namespace media_test {
namespace {

Bytes table(const std::vector<size_t>& words) {
  Bytes bytes;
  for (const size_t word : words) bytes = bytes + be32(word);
  return bytes;
}

// The sample description of an H.264 track, with the parameter sets if it is to have them.
Bytes sample_description(bool avc) {
  Bytes description(78);
  if (avc) {
    description = description + atom("avcC", Bytes{1, 0x64, 0, 0x28, 0xFF, 0xE1, 0, 4} + kSps +
                                                 Bytes{1, 0, 2} + kPps);
  }
  return Bytes(4) + be32(1) + atom("avc1", description);
}

}  // namespace

Bytes be32(size_t value) {
  return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
          static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

Bytes atom(const std::string& type, const Bytes& payload) {
  return be32(payload.size() + 8) + text_bytes(type) + payload;
}

Bytes index_of(const std::vector<size_t>& sizes, const std::vector<size_t>& places,
               const Form& form) {
  std::vector<size_t> keys{0, 0};
  for (size_t i = 0; i < sizes.size(); i += 3) keys.push_back(i + 1);
  keys[1] = keys.size() - 2;
  std::vector<size_t> size_words{0, 0, sizes.size()};
  size_words.insert(size_words.end(), sizes.begin(), sizes.end());
  std::vector<size_t> place_words{0, places.size()};
  place_words.insert(place_words.end(), places.begin(), places.end());
  const size_t in_chunk = sizes.size() / places.size();
  const Bytes tkhd = Bytes(76) + be32(160U << 16) + be32(90U << 16);
  const Bytes stbl =
      atom("stsd", sample_description(form.avc)) + atom("stts", table({0, 1, sizes.size(), 1000})) +
      atom("stsc", table({0, 1, 1, in_chunk, 1})) +
      (form.wide_offsets ? atom("co64", table({0, 1, 0, 24})) : atom("stco", table(place_words))) +
      (form.key_frames ? atom("stss", table(keys)) : Bytes{}) + atom("stsz", table(size_words));
  return atom("moov", atom("trak", atom("tkhd", tkhd) +
                                       atom("mdia", atom("mdhd", table({0, 0, 0, 1000, 0, 0})) +
                                                        atom("minf", atom("stbl", stbl)))));
}

Bytes recording(const std::vector<size_t>& nal_sizes, const Form& form) {
  Bytes data;
  std::vector<size_t> sizes;
  std::vector<size_t> places;
  for (size_t i = 0; i < nal_sizes.size(); i++) {
    if (i == 0 || form.gap != 0) places.push_back(24 + data.size());
    const size_t start = data.size();
    data = data + be32(nal_sizes[i]) + Bytes(nal_sizes[i], static_cast<uint8_t>(0x10 + i));
    if (form.second_nal != 0) data = data + be32(form.second_nal) + Bytes(form.second_nal, 0xEE);
    sizes.push_back(data.size() - start);
    data = data + Bytes(form.gap, 0xFF);
  }
  const Bytes index = index_of(sizes, places, form);
  if (!form.index_first) return atom("ftyp", Bytes(8)) + atom("mdat", data) + index;
  for (size_t& place : places) place += index.size();
  return atom("ftyp", Bytes(8)) + index_of(sizes, places, form) + atom("mdat", data);
}

}  // namespace media_test
