// The calls of libexif that take memory; see allocation_fault.h.
#include <libexif/exif-data.h>
#include <libexif/exif-mem.h>

#include "support/allocation_fault.h"

using support::fails;
using support::Fault;

extern "C" {

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
