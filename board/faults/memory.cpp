// malloc and its kin. `new` of the C++ library comes here as well; free is left alone, since every
// block is one of the C library's own.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "faults/strike.h"

extern "C" {

// The C library's own, under the names that need no looking up.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) noexcept {
  if (faults::strikes(faults::kMalloc, "malloc", nullptr, ENOMEM)) return nullptr;
  return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) noexcept {
  if (faults::strikes(faults::kMalloc, "calloc", nullptr, ENOMEM)) return nullptr;
  return __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) noexcept {
  // A block of size 0 is freed, which cannot fail.
  if ((block == nullptr || size != 0) &&
      faults::strikes(faults::kMalloc, "realloc", nullptr, ENOMEM)) {
    return nullptr;
  }
  return __libc_realloc(block, size);
}

void* reallocarray(void* block, size_t count, size_t size) noexcept {
  size_t bytes = 0;
  if (__builtin_mul_overflow(count, size, &bytes)) {
    errno = ENOMEM;
    return nullptr;
  }
  return realloc(block, bytes);
}

void* memalign(size_t alignment, size_t size) noexcept {
  if (faults::strikes(faults::kMalloc, "memalign", nullptr, ENOMEM)) return nullptr;
  return __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** block, size_t alignment, size_t size) noexcept {
  if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0) return EINVAL;
  void* made = memalign(alignment, size);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}

}  // extern "C"
