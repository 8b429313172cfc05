#include "support/photo.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "base/bytes.h"

namespace media_test {

void write_file(const std::string& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

Bytes read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool exists(const std::string& path) { return std::filesystem::exists(path); }

std::vector<std::string> names_in(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes text_bytes(const std::string& text) { return {text.begin(), text.end()}; }

Bytes segment(uint8_t marker, const Bytes& payload) {
  const size_t length = payload.size() + 2;
  return Bytes{0xFF, marker, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)} +
         payload;
}

Bytes plain_photo() {
  return Bytes{0xFF, 0xD8} + segment(0xE0, {'J', 'F', 'I', 'F', 0}) + segment(0xDA, {1, 2, 3}) +
         Bytes{0x11, 0x22, 0xFF, 0x00, 0x33, 0xFF, 0xD9};
}

Bytes words(const std::vector<uint32_t>& values) {
  Bytes bytes(values.size() * 4);
  for (size_t i = 0; i < values.size(); i++) base::store_u32le(&bytes[i * 4], values[i]);
  return bytes;
}

namespace {

Bytes half(uint32_t value) {
  return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
}

size_t ifd_size(const std::vector<Field>& fields) {
  size_t size = 2 + fields.size() * 12 + 4;
  for (const Field& field : fields) size += field.value.size() > 4 ? field.value.size() : 0;
  return size;
}

// The IFD with its values behind it, for a place at that offset.
Bytes ifd_bytes(const std::vector<Field>& fields, size_t offset, uint32_t next) {
  Bytes records = half(static_cast<uint32_t>(fields.size()));
  Bytes values;
  const size_t values_at = offset + 2 + fields.size() * 12 + 4;
  for (const Field& field : fields) {
    records = records + half(field.tag) + half(field.format) + words({field.components});
    if (field.value.size() > 4) {
      records = records + words({static_cast<uint32_t>(values_at + values.size())});
      values = values + field.value;
    } else {
      Bytes value = field.value;
      value.resize(4);
      records = records + value;
    }
  }
  return records + words({next}) + values;
}

}  // namespace

Bytes exif_bytes(const std::vector<Field>& ifd0, const std::vector<Field>& gps,
                 const Bytes& thumbnail) {
  std::vector<Field> zero = ifd0;
  if (!gps.empty()) zero.push_back({0x8825, 4, 1, Bytes(4)});
  const size_t gps_at = 8 + ifd_size(zero);
  const size_t one_at = gps_at + (gps.empty() ? 0 : ifd_size(gps));
  if (!gps.empty()) zero.back().value = words({static_cast<uint32_t>(gps_at)});
  const bool has_one = !thumbnail.empty();
  std::vector<Field> one{{0x0103, 3, 1, {6, 0}}, {0x0201, 4, 1, Bytes(4)}, {0x0202, 4, 1, {}}};
  one[1].value = words({static_cast<uint32_t>(one_at + ifd_size(one))});
  one[2].value = words({static_cast<uint32_t>(thumbnail.size())});

  Bytes block{'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 0x2A, 0, 8, 0, 0, 0};
  block = block + ifd_bytes(zero, 8, has_one ? static_cast<uint32_t>(one_at) : 0);
  if (!gps.empty()) block = block + ifd_bytes(gps, gps_at, 0);
  if (has_one) block = block + ifd_bytes(one, one_at, 0) + thumbnail;
  return block;
}

Bytes photo_with_exif(const Bytes& exif, const Bytes& picture) {
  return Bytes{0xFF, 0xD8} + segment(0xE1, exif) + Bytes(picture.begin() + 2, picture.end());
}

Bytes app1_of(const Bytes& photo) {
  size_t at = 2;
  while (at + 4 <= photo.size() && photo[at] == 0xFF) {
    const size_t length = base::load_u16be(&photo[at + 2]);
    if (photo[at + 1] == 0xE1 && at + 2 + length <= photo.size()) {
      return {photo.begin() + static_cast<ptrdiff_t>(at) + 4,
              photo.begin() + static_cast<ptrdiff_t>(at + 2 + length)};
    }
    at += 2 + length;
  }
  return {};
}

namespace {

std::vector<Field> fields_at(const Bytes& tiff, size_t offset) {
  constexpr size_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8};
  std::vector<Field> fields;
  const size_t count = base::load_u16le(&tiff.at(offset));
  for (size_t i = 0; i < count; i++) {
    const uint8_t* record = &tiff.at(offset + 2 + i * 12);
    Field field{
        base::load_u16le(record), base::load_u16le(record + 2), base::load_u32le(record + 4), {}};
    const size_t size = kSizes[field.format] * field.components;
    const uint8_t* value = size > 4 ? &tiff.at(base::load_u32le(record + 8)) : record + 8;
    field.value.assign(value, value + size);
    fields.push_back(field);
  }
  return fields;
}

}  // namespace

std::vector<Field> fields_of(const Bytes& exif, Ifd ifd) {
  const Bytes tiff(exif.begin() + 6, exif.end());
  std::vector<Field> zero = fields_at(tiff, base::load_u32le(&tiff.at(4)));
  if (ifd == Ifd::kZero) return zero;
  const uint16_t pointer = ifd == Ifd::kGps ? 0x8825 : 0x8769;
  for (const Field& field : zero) {
    if (field.tag == pointer) return fields_at(tiff, base::load_u32le(field.value.data()));
  }
  return {};
}

std::vector<Field> fields_of(const Bytes& exif, Ifd ifd, uint16_t tag) {
  std::vector<Field> found;
  for (const Field& field : fields_of(exif, ifd)) {
    if (field.tag == tag) found.push_back(field);
  }
  return found;
}

}  // namespace media_test
