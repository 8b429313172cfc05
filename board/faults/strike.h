// Inside libfaults.so: whether a call is the one that is hit, and the C library's own functions.
#pragma once

#include <dlfcn.h>

#include <atomic>
#include <utility>

#include "faults/page.h"

namespace faults {

// Counts the call if its kind is armed and the program made it. When it is the one: leaves errno
// as the page says, or `fitting`, and returns true; or ends the process. `detail` (may be null) is
// what the call is about, a file's name. Safe from any thread and inside malloc.
[[nodiscard]] bool strikes(Kind kind, const char* function, const char* detail, int fitting);

// The C library's function of that name, looked up at its first call. Of a function that the library
// keeps in several versions the program's own has to be named, or an old one is found.
template <typename Function>
class Next {
 public:
  constexpr explicit Next(const char* name, const char* version = nullptr)
      : name_(name), version_(version) {}
  template <typename... Arguments>
  auto operator()(Arguments... arguments) {
    void* found = found_.load(std::memory_order_relaxed);
    if (found == nullptr) {
      if (version_ != nullptr) found = dlvsym(RTLD_NEXT, name_, version_);
      if (found == nullptr) found = dlsym(RTLD_NEXT, name_);
      found_.store(found, std::memory_order_relaxed);
    }
    return reinterpret_cast<Function*>(found)(arguments...);
  }

 private:
  const char* name_;
  const char* version_;
  std::atomic<void*> found_ = nullptr;
};

}  // namespace faults
