#include "config/memory_fault.h"

#include <cstddef>
#include <new>

namespace config_test {
namespace {

thread_local bool armed = false;
thread_local int left = 0;
thread_local bool failed = false;

bool fails() {
  if (!armed || left-- > 0) return false;
  left = 0;
  failed = true;
  return true;
}

}  // namespace

MemoryFault::MemoryFault(int after) {
  left = after;
  failed = false;
  armed = true;
}

MemoryFault::~MemoryFault() { armed = false; }

bool MemoryFault::struck() { return failed; }

}  // namespace config_test

using config_test::fails;

extern "C" {

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) { return fails() ? nullptr : __real_malloc(size); }

void* __real_realloc(void* block, size_t size);
void* __wrap_realloc(void* block, size_t size) {
  return fails() ? nullptr : __real_realloc(block, size);
}

void* __real__Znwm(size_t size);
void* __wrap__Znwm(size_t size) {
  if (fails()) throw std::bad_alloc();
  return __real__Znwm(size);
}

}  // extern "C"
