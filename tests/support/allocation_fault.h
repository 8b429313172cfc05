// Makes calls that take memory fail, in the test programs that link `allocation_fault`, and with
// `exif_fault` those of libexif (CMakeLists.txt).
#pragma once

#include <cstddef>

namespace support {

enum class Fault {
  kNone,
  kMalloc,
  kRealloc,
  kNew,       // new (std::nothrow)
  kNewArray,  // new (std::nothrow) []
  kEvery,  // malloc, realloc and every new of one object, counted together; all later ones fail too
  kExifEntryNew,
  kExifEntryNewMem,
  kExifMemNew,
  kExifMemAlloc,
  kExifSave,  // libexif serialises to nothing
};

// While it lives, that call on this thread fails, `after` calls of it later, once. One at a time.
// With a `size`, mallocs of another size do not count.
class AllocationFault {
 public:
  explicit AllocationFault(Fault fault, int after = 0, size_t size = 0);
  ~AllocationFault();
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;

  // Whether a call has failed.
  [[nodiscard]] bool struck() const;
};

// From now on the last block of that size that malloc gave to this thread; 0 watches none.
void watch_blocks(size_t size);
[[nodiscard]] void* watched_block();

// For the wrapped calls: whether this one is to fail.
[[nodiscard]] bool fails(Fault fault);

}  // namespace support
