#include "camera_service/jpeg.h"

#include <turbojpeg.h>

#include <memory>

#include "base/bytes.h"

namespace camera_service {
namespace {

struct CompressorCloser {
  void operator()(void* handle) const { ::tjDestroy(handle); }
};
struct BufferCloser {
  void operator()(unsigned char* buffer) const { ::tjFree(buffer); }
};

constexpr size_t kSoiLength = 2;

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

}  // namespace camera_service
