// H.264 as a byte stream (ITU-T H.264, Annex B), cut into units and pictures while it arrives in
// pieces of any size. One thread per object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace groundstation {

inline constexpr uint8_t kUnitSlice = 1;
inline constexpr uint8_t kUnitKeySlice = 5;
inline constexpr uint8_t kUnitSps = 7;
inline constexpr uint8_t kUnitPps = 8;
inline constexpr uint8_t kUnitDelimiter = 9;

// One NAL unit with its start code.
struct NalUnit {
  std::span<const uint8_t> bytes;
  size_t header;  // index of the byte behind the start code; always inside `bytes`

  [[nodiscard]] uint8_t type() const { return bytes[header] & 31; }
  [[nodiscard]] bool is_slice() const { return type() == kUnitSlice || type() == kUnitKeySlice; }
  // Whether a slice is the first of its picture: its first macroblock is number 0.
  [[nodiscard]] bool starts_picture() const {
    return is_slice() && header + 1 < bytes.size() && (bytes[header + 1] & 0x80) != 0;
  }
};

// Cuts the byte stream at its start codes. Bytes before the first one are dropped. A unit is passed
// on when the next start code has arrived; a unit over 8 MiB is dropped up to the next start code.
class NalSplitter {
 public:
  using Sink = std::function<void(const NalUnit& unit)>;

  explicit NalSplitter(Sink sink) : sink_(std::move(sink)) {}
  void feed(std::span<const uint8_t> bytes);
  // Passes on what is there as the last unit.
  void flush();

 private:
  void emit(size_t end);

  Sink sink_;
  std::vector<uint8_t> buffer_;
  bool in_unit_ = false;
  size_t begin_ = 0;   // start code of the current unit
  size_t header_ = 0;  // the byte behind it
  size_t scan_ = 0;    // everything before has been searched for a start code
};

// The units of one picture, parameter sets in front included.
struct AccessUnit {
  std::vector<uint8_t> bytes;
  bool has_sps = false;
  bool has_pps = false;
  bool is_key = false;       // holds an IDR slice
  bool has_picture = false;  // holds a slice
  bool is_whole = false;     // its first slice is the first of the picture
};

// Groups units into pictures. A picture is passed on when the next one begins.
class AccessUnitBuilder {
 public:
  using Sink = std::function<void(AccessUnit& unit)>;

  explicit AccessUnitBuilder(Sink sink) : sink_(std::move(sink)) {}
  void feed(const NalUnit& unit);
  // Passes on what is there as the last picture.
  void flush();

 private:
  Sink sink_;
  AccessUnit current_;
};

}  // namespace groundstation
