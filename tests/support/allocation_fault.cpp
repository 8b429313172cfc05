#include "support/allocation_fault.h"

#include <new>

namespace support {
namespace {

thread_local Fault armed = Fault::kNone;
thread_local int calls_before = 0;
thread_local size_t only_size = 0;  // 0: any
thread_local bool has_struck = false;
thread_local size_t watched_size = 0;
thread_local void* last_block = nullptr;

void* take(size_t size, void* (*real)(size_t)) {
  if ((only_size == 0 || size == only_size) && fails(Fault::kMalloc)) return nullptr;
  void* block = real(size);
  if (size != 0 && size == watched_size) last_block = block;
  return block;
}

}  // namespace

AllocationFault::AllocationFault(Fault fault, int after, size_t size) {
  armed = fault;
  calls_before = after;
  only_size = size;
  has_struck = false;
}

AllocationFault::~AllocationFault() { armed = Fault::kNone; }

bool AllocationFault::struck() const { return has_struck; }

void watch_blocks(size_t size) { watched_size = size; }
void* watched_block() { return last_block; }

bool fails(Fault fault) {
  const bool every = armed == Fault::kEvery && fault <= Fault::kEvery && fault != Fault::kNewArray;
  if (armed != fault && !every) return false;
  if (calls_before > 0) {
    calls_before--;
    return false;
  }
  if (!every) armed = Fault::kNone;
  has_struck = true;
  return true;
}

}  // namespace support

using support::fails;
using support::Fault;

extern "C" {

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) { return support::take(size, __real_malloc); }

void* __real_realloc(void* block, size_t size);
void* __wrap_realloc(void* block, size_t size) {
  return fails(Fault::kRealloc) ? nullptr : __real_realloc(block, size);
}

void* __real__Znwm(size_t size);
void* __wrap__Znwm(size_t size) {
  if (fails(Fault::kEvery)) throw std::bad_alloc();
  return __real__Znwm(size);
}

void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
  return fails(Fault::kNew) ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

void* __real__ZnamRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __wrap__ZnamRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
  return fails(Fault::kNewArray) ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}

}  // extern "C"
