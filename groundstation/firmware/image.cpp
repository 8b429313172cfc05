#include "groundstation/firmware/image.h"

#include <fmt/format.h>
#include <sys/stat.h>

extern "C" {
#include <libavutil/md5.h>
}

#include <array>
#include <cerrno>
#include <cstring>

#include "base/descriptor.h"
#include "groundstation/firmware/messages.h"

namespace groundstation {
namespace {

// The next number from `bytes` on that a 32-bit float holds exactly; fits for up to 512 MiB.
size_t announceable(size_t bytes) {
  size_t step = 1;
  while (bytes / step > size_t{1} << 24) step *= 2;
  return (bytes + step - 1) / step * step;
}

}  // namespace

std::string load_firmware(const std::string& path, FirmwareImage* image) {
  const base::File file(std::fopen(path.c_str(), "rbe"));
  if (file == nullptr) return fmt::format("cannot read {}: {}", path, std::strerror(errno));
  struct stat about {};
  if (::fstat(fileno(file.get()), &about) != 0 || !S_ISREG(about.st_mode)) {
    return fmt::format("{} is no file", path);
  }
  const auto size = static_cast<size_t>(about.st_size);
  if (size < 1 || size > kFirmwareMostBytes) {
    return fmt::format("{} has {} bytes; an image has 1 byte to 512 MiB", path, size);
  }
  const size_t announced = announceable(size);
  image->bytes.assign(announced, 0);
  image->filled = announced - size;
  if (std::fread(image->bytes.data(), 1, size, file.get()) != size) {
    return fmt::format("cannot read {}: it ended early", path);
  }
  return "";
}

std::string md5_text(std::span<const uint8_t> bytes) {
  std::array<uint8_t, 16> digest{};
  av_md5_sum(digest.data(), bytes.data(), bytes.size());
  std::string text;
  for (const uint8_t byte : digest) text += fmt::format("{:02x}", byte);
  return text;
}

}  // namespace groundstation
