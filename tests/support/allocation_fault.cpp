#include "support/allocation_fault.h"

#include <libexif/exif-data.h>
#include <libexif/exif-mem.h>

#include <cstddef>
#include <new>

namespace media_test {
namespace {

thread_local Fault armed = Fault::kNone;
thread_local int calls_before = 0;

bool fails(Fault fault) {
  if (armed != fault) return false;
  if (calls_before-- > 0) return false;
  armed = Fault::kNone;
  return true;
}

}  // namespace

AllocationFault::AllocationFault(Fault fault, int after) {
  armed = fault;
  calls_before = after;
}

AllocationFault::~AllocationFault() { armed = Fault::kNone; }

}  // namespace media_test

using media_test::fails;
using media_test::Fault;

extern "C" {

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) { return fails(Fault::kMalloc) ? nullptr : __real_malloc(size); }

void* __real_realloc(void* block, size_t size);
void* __wrap_realloc(void* block, size_t size) {
  return fails(Fault::kRealloc) ? nullptr : __real_realloc(block, size);
}

void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
  return fails(Fault::kNew) ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

ExifEntry* __real_exif_entry_new();
ExifEntry* __wrap_exif_entry_new() {
  return fails(Fault::kExifEntryNew) ? nullptr : __real_exif_entry_new();
}

ExifEntry* __real_exif_entry_new_mem(ExifMem* mem);
ExifEntry* __wrap_exif_entry_new_mem(ExifMem* mem) {
  return fails(Fault::kExifEntryNewMem) ? nullptr : __real_exif_entry_new_mem(mem);
}

ExifMem* __real_exif_mem_new_default();
ExifMem* __wrap_exif_mem_new_default() {
  return fails(Fault::kExifMemNew) ? nullptr : __real_exif_mem_new_default();
}

void* __real_exif_mem_alloc(ExifMem* mem, ExifLong size);
void* __wrap_exif_mem_alloc(ExifMem* mem, ExifLong size) {
  return fails(Fault::kExifMemAlloc) ? nullptr : __real_exif_mem_alloc(mem, size);
}

void __real_exif_data_save_data(ExifData* data, unsigned char** bytes, unsigned* size);
void __wrap_exif_data_save_data(ExifData* data, unsigned char** bytes, unsigned* size) {
  if (!fails(Fault::kExifSave)) __real_exif_data_save_data(data, bytes, size);
}

}  // extern "C"
