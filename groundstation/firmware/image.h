// A firmware image as it travels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace groundstation {

struct FirmwareImage {
  std::vector<uint8_t> bytes;
  size_t filled = 0;  // zero bytes added behind the file's own
};

// Reads an image of 1 byte to 512 MiB. Returns an empty text, or why it cannot be used. The size
// is announced as a 32-bit float, which does not hold every number above 16 MiB: such an image is
// filled up with zero bytes to the next size that it does hold.
[[nodiscard]] std::string load_firmware(const std::string& path, FirmwareImage* image);

// 32 lower-case hexadecimal characters.
[[nodiscard]] std::string md5_text(std::span<const uint8_t> bytes);

}  // namespace groundstation
