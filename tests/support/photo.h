// Photos, folders and files for the media tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/photo/jpeg_data.h"
#include "support/temporary_folder.h"

namespace media_test {

// A vector of this namespace, so that operator+ is found wherever Bytes are added.
struct Bytes : std::vector<uint8_t> {
  using vector::vector;
};

using support::TemporaryFolder;

void write_file(const std::string& path, const Bytes& bytes);
// All of it; empty when it cannot be read.
[[nodiscard]] Bytes read_file(const std::string& path);
[[nodiscard]] bool exists(const std::string& path);
// Names in a folder, sorted, without "." and "..".
[[nodiscard]] std::vector<std::string> names_in(const std::string& folder);
[[nodiscard]] Bytes operator+(Bytes left, const Bytes& right);
[[nodiscard]] Bytes text_bytes(const std::string& text);

// One marker segment with that payload.
[[nodiscard]] Bytes segment(uint8_t marker, const Bytes& payload);
// SOI, an APP0, an SOS with scan data, EOI: nothing that a decoder would take, all that a parser
// needs.
[[nodiscard]] Bytes plain_photo();

// One directory entry of hand-made EXIF data.
struct Field {
  uint16_t tag;
  uint16_t format;
  uint32_t components;
  Bytes value;
};
// A TIFF block in Intel order behind "Exif", 00 00: IFD 0 with the fields, a GPS IFD when there are
// any `gps` fields, and an IFD 1 with the thumbnail when it is not empty. Fields are written in
// this order.
[[nodiscard]] Bytes exif_bytes(const std::vector<Field>& ifd0, const std::vector<Field>& gps = {},
                               const Bytes& thumbnail = {});
// The picture with an APP1 segment of that block right behind SOI.
[[nodiscard]] Bytes photo_with_exif(const Bytes& exif, const Bytes& picture = plain_photo());

// The payload of the first APP1 segment of a photo; empty without one.
[[nodiscard]] Bytes app1_of(const Bytes& photo);

// What a block says in one of its IFDs, read without libexif, in the order of the file.
enum class Ifd { kZero, kExif, kGps };
[[nodiscard]] std::vector<Field> fields_of(const Bytes& exif, Ifd ifd);
// Those with the tag.
[[nodiscard]] std::vector<Field> fields_of(const Bytes& exif, Ifd ifd, uint16_t tag);

// Little-endian u32 values one after the other.
[[nodiscard]] Bytes words(const std::vector<uint32_t>& values);

}  // namespace media_test

namespace media {

using media_test::Bytes;
using media_test::segment;
using media_test::text_bytes;

}  // namespace media
