#include "media/card/paced_writer.h"

#include <algorithm>
#include <cstdint>

#include "base/clock.h"
#include "supervisor/state/turns.h"

namespace media {

size_t media_write_paced(const void* buffer, size_t size, std::FILE* file, size_t blocks_per_call) {
  if (buffer == nullptr || file == nullptr) return 0;
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  size_t written = 0;
  while (size - written >= kPacedBlock) {
    const size_t blocks = std::min((size - written) / kPacedBlock, blocks_per_call);
    const size_t done = std::fwrite(bytes + written, kPacedBlock, blocks, file);
    // What could not be flushed has not been written.
    if (done == 0 || std::fflush(file) != 0) return written;
    written += done * kPacedBlock;
    // After an error a part of a block may be in the file; writing on would put the rest out of
    // place.
    if (std::ferror(file) != 0) return written;
    supervisor::turned();  // a large photo on a slow card takes longer than a standstill may
    base::sleep_us(kPacedPauseUs);
  }
  const size_t rest = size - written;
  if (rest == 0) return written;
  const size_t done = std::fwrite(bytes + written, 1, rest, file);
  return std::fflush(file) == 0 ? written + done : written;
}

}  // namespace media
