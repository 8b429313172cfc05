#include "camera_service/picture.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace camera_service {
namespace {

constexpr int kGlyphColumns = 3;
constexpr int kGlyphRows = 5;

struct Glyph {
  char character;
  const char* cells;  // rows from the top, '1' is painted
};

constexpr Glyph kGlyphs[] = {
    {'0', "111101101101111"}, {'1', "010110010010111"}, {'2', "111001111100111"},
    {'3', "111001111001111"}, {'4', "101101111001001"}, {'5', "111100111001111"},
    {'6', "111100111101111"}, {'7', "111001001001001"}, {'8', "111101111101111"},
    {'9', "111101111001111"}, {'A', "010101111101101"}, {'B', "110101110101110"},
    {'C', "011100100100011"}, {'D', "110101101101110"}, {'E', "111100110100111"},
    {'F', "111100110100100"}, {'G', "011100101101011"}, {'H', "101101111101101"},
    {'I', "111010010010111"}, {'J', "001001001101010"}, {'K', "101101110101101"},
    {'L', "100100100100111"}, {'M', "101111111101101"}, {'N', "110101101101101"},
    {'O', "010101101101010"}, {'P', "110101110100100"}, {'Q', "010101101110011"},
    {'R', "110101110101101"}, {'S', "011100010001110"}, {'T', "111010010010010"},
    {'U', "101101101101111"}, {'V', "101101101101010"}, {'W', "101101111111101"},
    {'X', "101101010101101"}, {'Y', "101101010010010"}, {'Z', "111001010100111"},
    {':', "000010000010000"}, {'-', "000000111000000"}, {'_', "000000000000111"},
    {'.', "000000000000010"},
};

uint8_t* row_of(const Canvas& canvas, size_t plane, int row) {
  return canvas.plane[plane] + static_cast<std::ptrdiff_t>(row) * canvas.stride[plane];
}

// The field (a patch of ground) that holds a point; the rows of fields lean, so that edges are
// slanted.
Colour field_colour(int column, int row) {
  Noise noise(static_cast<uint32_t>(column * 7919 + row * 104729 + 12345));
  for (int i = 0; i < 8; i++) [[maybe_unused]] const uint32_t skipped = noise.next();
  const uint32_t bits = noise.next();
  return {static_cast<uint8_t>(70 + bits % 90), static_cast<uint8_t>(90 + (bits >> 8) % 30),
          static_cast<uint8_t>(110 + (bits >> 16) % 36)};
}

Colour scene_colour(int x, int y, int width, int height) {
  const int horizon = height * 3 / 10;
  if (y < horizon) {
    return {static_cast<uint8_t>(120 + 100 * y / horizon),
            static_cast<uint8_t>(165 - 25 * y / horizon),
            static_cast<uint8_t>(100 + 20 * y / horizon)};
  }
  const int cell = width / 20;
  const int lean = (y - horizon) / 3;
  return field_colour((x + lean) / cell, (y - horizon) * 2 / cell);
}

}  // namespace

Picture::Picture(int width, int height)
    : width_(width),
      height_(height),
      bytes_(static_cast<size_t>(width) * static_cast<size_t>(height) * 3 / 2) {}

Canvas Picture::canvas() {
  const size_t luma = static_cast<size_t>(width_) * static_cast<size_t>(height_);
  uint8_t* bytes = bytes_.data();
  return {{bytes, bytes + luma, bytes + luma + luma / 4},
          {width_, width_ / 2, width_ / 2},
          width_,
          height_};
}

void paint_landscape(const Canvas& canvas, int noise) {
  Noise source(2020);
  const auto levels = static_cast<uint32_t>(2 * noise + 1);
  for (int y = 0; y < canvas.height; y += 2) {
    uint8_t* upper = row_of(canvas, 0, y);
    uint8_t* lower = upper + canvas.stride[0];
    uint8_t* u = row_of(canvas, 1, y / 2);
    uint8_t* v = row_of(canvas, 2, y / 2);
    Colour colour{};
    for (int x = 0; x < canvas.width; x += 2) {
      if (x % 16 == 0) colour = scene_colour(x, y, canvas.width, canvas.height);
      const uint32_t bits = source.next();
      const auto with_noise = [&](int shift) {
        const auto offset = static_cast<int>(((bits >> shift) & 0xFFU) * levels >> 8U) - noise;
        return static_cast<uint8_t>(colour.y + offset);
      };
      upper[x] = with_noise(0);
      upper[x + 1] = with_noise(8);
      lower[x] = with_noise(16);
      lower[x + 1] = with_noise(24);
      u[x / 2] = colour.u;
      v[x / 2] = colour.v;
    }
  }
}

void paint_rectangle(const Canvas& canvas, int x, int y, int width, int height, Colour colour) {
  const int left = std::clamp(x, 0, canvas.width) / 2;
  const int right = std::clamp(x + width, 0, canvas.width) / 2;
  const int top = std::clamp(y, 0, canvas.height) / 2;
  const int bottom = std::clamp(y + height, 0, canvas.height) / 2;
  if (left >= right) return;
  const auto columns = static_cast<size_t>(right - left);
  for (int row = top; row < bottom; row++) {
    uint8_t* luma = row_of(canvas, 0, row * 2) + left * 2;
    std::memset(luma, colour.y, columns * 2);
    std::memset(luma + canvas.stride[0], colour.y, columns * 2);
    std::memset(row_of(canvas, 1, row) + left, colour.u, columns);
    std::memset(row_of(canvas, 2, row) + left, colour.v, columns);
  }
}

void paint_text(const Canvas& canvas, int x, int y, int cell, std::string_view text,
                Colour colour) {
  for (const char character : text) {
    for (const Glyph& glyph : kGlyphs) {
      if (glyph.character != character) continue;
      for (int i = 0; i < kGlyphColumns * kGlyphRows; i++) {
        if (glyph.cells[i] != '1') continue;
        paint_rectangle(canvas, x + i % kGlyphColumns * cell, y + i / kGlyphColumns * cell, cell,
                        cell, colour);
      }
    }
    x += (kGlyphColumns + 1) * cell;
  }
}

void copy_canvas(const Canvas& from, const Canvas& to) {
  for (size_t plane = 0; plane < from.plane.size(); plane++) {
    const int half = plane == 0 ? 1 : 2;
    for (int row = 0; row < from.height / half; row++) {
      std::memcpy(row_of(to, plane, row), row_of(from, plane, row),
                  static_cast<size_t>(from.width / half));
    }
  }
}

Picture shrink(const Canvas& from, int width, int height) {
  Picture result(width, height);
  const Canvas to = result.canvas();
  for (size_t plane = 0; plane < to.plane.size(); plane++) {
    const int half = plane == 0 ? 1 : 2;
    const int columns = width / half;
    const int rows = height / half;
    for (int y = 0; y < rows; y++) {
      const uint8_t* source = row_of(from, plane, from.height / half * y / rows);
      uint8_t* target = row_of(to, plane, y);
      for (int x = 0; x < columns; x++) target[x] = source[from.width / half * x / columns];
    }
  }
  return result;
}

}  // namespace camera_service
