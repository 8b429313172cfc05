// Pictures in planar YUV 4:2:0 (full size Y, half size U and V) and what is painted on them.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace camera_service {

struct Colour {
  uint8_t y, u, v;
};
inline constexpr Colour kWhite{235, 128, 128};
inline constexpr Colour kBlack{16, 128, 128};
inline constexpr Colour kRed{81, 90, 240};

// Somebody's planes. Width and height are even.
struct Canvas {
  std::array<uint8_t*, 3> plane;
  std::array<int, 3> stride;
  int width;
  int height;
};

// A picture that owns its planes, without padding.
class Picture {
 public:
  Picture(int width, int height);
  [[nodiscard]] Canvas canvas();

 private:
  int width_;
  int height_;
  std::vector<uint8_t> bytes_;
};

// A landscape from above: sky, fields in many colours, sensor noise of up to `noise` levels. The
// whole canvas is painted; equal arguments give equal pictures.
void paint_landscape(const Canvas& canvas, int noise);

// A filled rectangle; what lies outside the canvas is cut off. Coordinates are rounded to even
// ones.
void paint_rectangle(const Canvas& canvas, int x, int y, int width, int height, Colour colour);

// Text in blocks of `cell` pixels (even): a character is 3 by 5 cells and takes 4 by 5. Letters
// A-Z, digits and ":-_." have a shape, everything else is a blank.
void paint_text(const Canvas& canvas, int x, int y, int cell, std::string_view text, Colour colour);

// Copies equal sized canvases.
void copy_canvas(const Canvas& from, const Canvas& to);

// A smaller picture of the same scene; each side of `from` is a multiple of that of the result.
[[nodiscard]] Picture shrink(const Canvas& from, int width, int height);

// A fast source of equally distributed bits (xorshift); not random in any stronger sense.
class Noise {
 public:
  explicit Noise(uint32_t seed) : state_(seed | 1U) {}
  [[nodiscard]] uint32_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return state_;
  }

 private:
  uint32_t state_;
};

}  // namespace camera_service
