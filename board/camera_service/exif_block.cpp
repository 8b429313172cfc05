#include "camera_service/exif_block.h"

#include <array>
#include <string_view>
#include <utility>

namespace camera_service {
namespace {

// TIFF 6.0 field types.
enum Type : uint16_t {
  kByte = 1,
  kAscii = 2,
  kShort = 3,
  kLong = 4,
  kRational = 5,
  kUndefined = 7,
  kSigned = 10
};

constexpr std::array<uint8_t, 6> kExifHead = {'E', 'x', 'i', 'f', 0, 0};
constexpr uint32_t kFirstIfd = 8;

class Bytes {
 public:
  explicit Bytes(bool big_endian) : big_endian_(big_endian) {}
  void u8(uint32_t value) { data.push_back(static_cast<uint8_t>(value)); }
  void u16(uint32_t value) {
    u8(big_endian_ ? value >> 8 : value);
    u8(big_endian_ ? value : value >> 8);
  }
  void u32(uint32_t value) {
    u16(big_endian_ ? value >> 16 : value & 0xFFFFU);
    u16(big_endian_ ? value & 0xFFFFU : value >> 16);
  }
  std::vector<uint8_t> data;

 private:
  bool big_endian_;
};

struct Entry {
  uint16_t tag;
  Type type;
  uint32_t count;
  std::vector<uint8_t> value;
};

// One directory with its data behind it. Entries are added in ascending order of their tags.
class Ifd {
 public:
  explicit Ifd(bool big_endian) : big_endian_(big_endian) {}

  void ascii(uint16_t tag, std::string_view text) {
    std::vector<uint8_t> value(text.begin(), text.end());
    value.push_back(0);
    add(tag, kAscii, 1, std::move(value));
  }
  void undefined(uint16_t tag, std::vector<uint8_t> value) {
    add(tag, kUndefined, 1, std::move(value));
  }
  void bytes(uint16_t tag, std::vector<uint8_t> value) { add(tag, kByte, 1, std::move(value)); }
  void shorts(uint16_t tag, uint32_t value) {
    Bytes out(big_endian_);
    out.u16(value);
    add(tag, kShort, 2, std::move(out.data));
  }
  void longs(uint16_t tag, uint32_t value) {
    Bytes out(big_endian_);
    out.u32(value);
    add(tag, kLong, 4, std::move(out.data));
  }
  void rationals(uint16_t tag, std::span<const std::pair<uint32_t, uint32_t>> values,
                 Type type = kRational) {
    Bytes out(big_endian_);
    for (const auto& [numerator, denominator] : values) {
      out.u32(numerator);
      out.u32(denominator);
    }
    add(tag, type, 8, std::move(out.data));
  }
  void rational(uint16_t tag, uint32_t numerator, uint32_t denominator, Type type = kRational) {
    const std::pair<uint32_t, uint32_t> value{numerator, denominator};
    rationals(tag, {&value, 1}, type);
  }

  // Length of what write() appends.
  [[nodiscard]] uint32_t size() const {
    size_t total = 2 + 12 * entries_.size() + 4;
    for (const Entry& entry : entries_) total += outside(entry);
    return static_cast<uint32_t>(total);
  }

  // Appends the directory, which begins at `offset` of the TIFF data, and its link to the next one.
  void write(Bytes& out, uint32_t offset, uint32_t next) const {
    auto data = static_cast<uint32_t>(offset + 2 + 12 * entries_.size() + 4);
    out.u16(static_cast<uint32_t>(entries_.size()));
    for (const Entry& entry : entries_) {
      out.u16(entry.tag);
      out.u16(entry.type);
      out.u32(entry.count);
      if (outside(entry) > 0) {
        out.u32(data);
        data += outside(entry);
      } else {
        for (size_t i = 0; i < 4; i++) out.u8(i < entry.value.size() ? entry.value[i] : 0U);
      }
    }
    out.u32(next);
    for (const Entry& entry : entries_) {
      if (outside(entry) == 0) continue;
      out.data.insert(out.data.end(), entry.value.begin(), entry.value.end());
      if (entry.value.size() % 2 != 0) out.u8(0);
    }
  }

 private:
  void add(uint16_t tag, Type type, size_t component_size, std::vector<uint8_t> value) {
    const auto count = static_cast<uint32_t>(value.size() / component_size);
    entries_.push_back({tag, type, count, std::move(value)});
  }
  // Bytes of the entry's value behind the directory: none when it fits into the entry itself.
  static uint32_t outside(const Entry& entry) {
    const auto length = static_cast<uint32_t>(entry.value.size());
    return length <= 4 ? 0 : length + length % 2;
  }

  bool big_endian_;
  std::vector<Entry> entries_;
};

Ifd exif_ifd(bool big_endian, const ExifFields& fields) {
  Ifd ifd(big_endian);
  ifd.rational(0x829A, fields.exposure_numerator, fields.exposure_denominator);  // ExposureTime
  ifd.rational(0x829D, 28, 10);                                                  // FNumber
  ifd.shorts(0x8822, 2);                                                         // ExposureProgram
  ifd.shorts(0x8827, fields.iso);                                                // ISO
  ifd.undefined(0x9000, {'0', '2', '3', '0'});                                   // ExifVersion
  ifd.ascii(0x9003, fields.time);                                                // DateTimeOriginal
  ifd.ascii(0x9004, fields.time);               // DateTimeDigitized
  ifd.undefined(0x9101, {1, 2, 3, 0});          // ComponentsConfiguration: Y Cb Cr
  ifd.rational(0x9204, 0, 100, kSigned);        // ExposureBiasValue
  ifd.rational(0x9205, 297, 100);               // MaxApertureValue
  ifd.shorts(0x9207, 5);                        // MeteringMode: pattern
  ifd.shorts(0x9208, 0);                        // LightSource: unknown
  ifd.shorts(0x9209, 0);                        // Flash: none
  ifd.rational(0x920A, 361, 100);               // FocalLength, mm
  ifd.undefined(0xA000, {'0', '1', '0', '0'});  // FlashpixVersion
  ifd.shorts(0xA001, 1);                        // ColorSpace: sRGB
  ifd.longs(0xA002, fields.width);              // PixelXDimension
  ifd.longs(0xA003, fields.height);             // PixelYDimension
  ifd.shorts(0xA402, 0);                        // ExposureMode: auto
  ifd.shorts(0xA403, 0);                        // WhiteBalance: auto
  ifd.shorts(0xA405, 20);                       // FocalLengthIn35mmFilm
  ifd.shorts(0xA406, 0);                        // SceneCaptureType: standard
  return ifd;
}

Ifd gps_ifd(bool big_endian) {
  using Rational = std::pair<uint32_t, uint32_t>;
  Ifd ifd(big_endian);
  ifd.bytes(0x0000, {2, 2, 0, 0});  // GPSVersionID
  ifd.ascii(0x0001, "N");           // GPSLatitudeRef
  ifd.rationals(0x0002, std::array<Rational, 3>{{{1, 1}, {2, 1}, {30, 10}}});
  ifd.ascii(0x0003, "E");  // GPSLongitudeRef
  ifd.rationals(0x0004, std::array<Rational, 3>{{{4, 1}, {5, 1}, {60, 10}}});
  ifd.rational(0x0006, 70, 10);  // GPSAltitude
  return ifd;
}

Ifd thumbnail_ifd(bool big_endian, uint32_t offset, size_t length) {
  Ifd ifd(big_endian);
  ifd.shorts(0x0103, 6);  // Compression: JPEG
  ifd.rational(0x011A, 72, 1);
  ifd.rational(0x011B, 72, 1);
  ifd.shorts(0x0128, 2);  // ResolutionUnit: inch
  ifd.longs(0x0201, offset);
  ifd.longs(0x0202, static_cast<uint32_t>(length));
  return ifd;
}

Ifd main_ifd(bool big_endian, const ExifFields& fields, uint32_t exif_offset, uint32_t gps_offset) {
  Ifd ifd(big_endian);
  ifd.ascii(0x010E, fields.description);
  ifd.ascii(0x010F, fields.make);
  ifd.ascii(0x0110, fields.model);
  ifd.shorts(0x0112, 1);  // Orientation: upright
  ifd.rational(0x011A, 72, 1);
  ifd.rational(0x011B, 72, 1);
  ifd.shorts(0x0128, 2);  // ResolutionUnit: inch
  ifd.ascii(0x0131, "camera_service 1.0");
  ifd.ascii(0x0132, fields.time);
  if (!fields.artist.empty()) ifd.ascii(0x013B, fields.artist);
  ifd.shorts(0x0213, 1);  // YCbCrPositioning: centred
  ifd.longs(0x8769, exif_offset);
  if (gps_offset != 0) ifd.longs(0x8825, gps_offset);
  return ifd;
}

}  // namespace

std::vector<uint8_t> exif_block(ExifMode mode, const ExifFields& fields,
                                std::span<const uint8_t> thumbnail) {
  if (mode == ExifMode::kNone) return {};
  const bool big_endian = mode == ExifMode::kMotorola;
  Bytes out(big_endian);
  out.data.assign(kExifHead.begin(), kExifHead.end());
  out.u8(big_endian ? 'M' : 'I');
  out.u8(big_endian ? 'M' : 'I');
  out.u16(42);
  out.u32(kFirstIfd);
  if (mode == ExifMode::kBroken) {
    out.u16(0xFFFF);
    return out.data;
  }
  const bool gps = mode == ExifMode::kGps;
  // Offsets are four bytes wide whatever their value, so the sizes are known before the offsets
  // are.
  const uint32_t exif_at = kFirstIfd + main_ifd(big_endian, fields, 1, gps ? 1 : 0).size();
  const Ifd exif = exif_ifd(big_endian, fields);
  const uint32_t gps_at = exif_at + exif.size();
  const uint32_t thumbnail_at = gps_at + (gps ? gps_ifd(big_endian).size() : 0);
  const uint32_t image_at = thumbnail_at + thumbnail_ifd(big_endian, 0, 0).size();

  main_ifd(big_endian, fields, exif_at, gps ? gps_at : 0).write(out, kFirstIfd, thumbnail_at);
  exif.write(out, exif_at, 0);
  if (gps) gps_ifd(big_endian).write(out, gps_at, 0);
  thumbnail_ifd(big_endian, image_at, thumbnail.size()).write(out, thumbnail_at, 0);
  out.data.insert(out.data.end(), thumbnail.begin(), thumbnail.end());
  if (mode == ExifMode::kTruncated) out.data.resize(kExifHead.size() + kFirstIfd + 40);
  return out.data;
}

}  // namespace camera_service
