// A small H.264 stream, made by hand: 4-bit frame numbers, one slice per picture.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace groundstation_test {

using Bytes = std::vector<uint8_t>;

inline Bytes join(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Baseline profile; behind the level 1 (set number 0) and 1 (4 bits of frame number), then ones.
inline const Bytes kSps = {0, 0, 0, 1, 0x67, 0x42, 0x00, 0x1E, 0xFF};
inline const Bytes kPps = {0, 0, 0, 1, 0x68, 0xCE, 0x3C, 0x80};
// First macroblock 1, type 7 (0001000), set 1, frame number 0000, ones.
inline const Bytes kKey = {0, 0, 0, 1, 0x65, 0x88, 0x87, 0xAA, 0xBB};
// First macroblock 1, type 5 (00110), set 1, then the frame number in the last bit and the next
// three.
inline const Bytes kPicture1 = {0, 0, 0, 1, 0x41, 0x9A, 0x3F, 0x11};
inline const Bytes kPicture2 = {0, 0, 0, 1, 0x41, 0x9A, 0x5F, 0x22};
inline const Bytes kPicture3 = {0, 0, 0, 1, 0x41, 0x9A, 0x7F, 0x33};
inline const Bytes kPicture5 = {0, 0, 0, 1, 0x41, 0x9A, 0xBF, 0x55};
// Frame number 2, but nothing refers to it (header 01).
inline const Bytes kUnreferenced2 = {0, 0, 0, 1, 0x01, 0x9A, 0x5F, 0x77};
// A second slice: first macroblock 1 (010), so its first bit is 0.
inline const Bytes kKeySecondSlice = {0, 0, 1, 0x65, 0x44, 0xCC};

}  // namespace groundstation_test
