// Makes taking memory fail, in the test programs that wrap the calls (CMakeLists.txt).
#pragma once

namespace config_test {

// While it lives, `after` calls on this thread of malloc, realloc and new succeed, and all later
// ones fail.
class MemoryFault {
 public:
  explicit MemoryFault(int after);
  ~MemoryFault();
  MemoryFault(const MemoryFault&) = delete;
  MemoryFault& operator=(const MemoryFault&) = delete;

  // Whether a call has failed.
  [[nodiscard]] static bool struck();
};

}  // namespace config_test
