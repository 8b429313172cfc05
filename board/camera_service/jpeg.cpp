#include "camera_service/jpeg.h"

#include <turbojpeg.h>

#include <cstdio>
#include <memory>

#include "base/bytes.h"
#include "base/descriptor.h"

namespace camera_service {
namespace {

struct CompressorCloser {
  void operator()(void* handle) const { ::tjDestroy(handle); }
};
struct BufferCloser {
  void operator()(unsigned char* buffer) const { ::tjFree(buffer); }
};

constexpr size_t kSoiLength = 2;

std::vector<uint8_t> whole_file(const std::string& path) {
  const base::File file(std::fopen(path.c_str(), "rbe"));
  std::vector<uint8_t> bytes;
  if (!file || std::fseek(file.get(), 0, SEEK_END) != 0) return bytes;
  const long size = std::ftell(file.get());
  if (size <= 0 || std::fseek(file.get(), 0, SEEK_SET) != 0) return bytes;
  bytes.resize(static_cast<size_t>(size));
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
  return bytes;
}

// Where the first start-of-scan marker is; the size when there is none.
size_t picture_start(std::span<const uint8_t> jpeg) {
  constexpr uint8_t kStartOfScan = 0xDA;
  size_t at = kSoiLength;
  while (at + 4 <= jpeg.size() && jpeg[at] == 0xFF) {
    if (jpeg[at + 1] == kStartOfScan) return at;
    at += 2U + base::load_u16be(jpeg.data() + at + 2);
  }
  return jpeg.size();
}

}  // namespace

std::vector<uint8_t> encode_jpeg(const Canvas& canvas, int quality) {
  const std::unique_ptr<void, CompressorCloser> compressor(::tjInitCompress());
  if (!compressor) return {};
  const unsigned char* planes[] = {canvas.plane[0], canvas.plane[1], canvas.plane[2]};
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  const int result =
      ::tjCompressFromYUVPlanes(compressor.get(), planes, canvas.width, canvas.stride.data(),
                                canvas.height, TJSAMP_420, &buffer, &size, quality, TJFLAG_FASTDCT);
  const std::unique_ptr<unsigned char, BufferCloser> owner(buffer);
  if (result != 0 || size < 6) return {};
  // The library writes a JFIF segment behind SOI: marker FF E0, then its length with the length
  // field.
  size_t begin = kSoiLength;
  if (buffer[2] == 0xFF && buffer[3] == 0xE0) begin += 2U + base::load_u16be(buffer + 4);
  if (begin > size) return {};
  std::vector<uint8_t> jpeg(buffer, buffer + kSoiLength);
  jpeg.insert(jpeg.end(), buffer + begin, buffer + size);
  return jpeg;
}

std::vector<uint8_t> with_app1(std::span<const uint8_t> jpeg, std::span<const uint8_t> payload) {
  std::vector<uint8_t> result(jpeg.begin(), jpeg.begin() + kSoiLength);
  result.reserve(jpeg.size() + payload.size() + 4);
  if (!payload.empty()) {
    uint8_t head[] = {0xFF, 0xE1, 0, 0};
    base::store_u16be(head + 2, static_cast<uint16_t>(payload.size() + 2));
    result.insert(result.end(), head, head + sizeof head);
    result.insert(result.end(), payload.begin(), payload.end());
  }
  result.insert(result.end(), jpeg.begin() + kSoiLength, jpeg.end());
  return result;
}

uint64_t picture_checksum(const std::string& path) {
  const std::vector<uint8_t> jpeg = whole_file(path);
  const size_t start = picture_start(jpeg);
  if (start >= jpeg.size()) return 0;
  uint64_t sum = 14695981039346656037U;  // FNV-1a
  for (size_t i = start; i < jpeg.size(); i++) sum = (sum ^ jpeg[i]) * 1099511628211U;
  return sum;
}

}  // namespace camera_service
