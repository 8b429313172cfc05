// Makes calls that take memory fail, in the test program that wraps them (CMakeLists.txt).
#pragma once

namespace media_test {

enum class Fault {
  kNone,
  kMalloc,
  kRealloc,
  kNew,  // new (std::nothrow)
  kExifEntryNew,
  kExifEntryNewMem,
  kExifMemNew,
  kExifMemAlloc,
  kExifSave,  // libexif serialises to nothing
};

// While it lives, that call on this thread fails, `after` calls of it later, once.
class AllocationFault {
 public:
  explicit AllocationFault(Fault fault, int after = 0);
  ~AllocationFault();
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;
};

}  // namespace media_test
