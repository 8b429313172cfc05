#include "media/exif_entries.h"

#include <libexif/exif-mem.h>

#include <memory>

// Declared by <assert.h> as well, but there only without NDEBUG.
extern "C" [[noreturn]] void __assert_fail(const char* assertion, const char* file, unsigned line,
                                           const char* function) noexcept;

namespace media {
namespace {

constexpr const char kSource[] = "exif";

struct MemUnref {
  void operator()(ExifMem* mem) const { exif_mem_unref(mem); }
};
struct EntryUnref {
  void operator()(ExifEntry* entry) const { exif_entry_unref(entry); }
};
using MemOwner = std::unique_ptr<ExifMem, MemUnref>;
using EntryOwner = std::unique_ptr<ExifEntry, EntryUnref>;

// The IFD takes a reference of its own. False when it could not take the entry.
bool add_entry(ExifContent* content, ExifEntry* entry) {
  exif_content_add_entry(content, entry);
  return entry->parent == content;
}

ExifTag unused_tag(ExifContent* content) {
  uint16_t tag = 0xFFFF;
  while (exif_content_get_entry(content, static_cast<ExifTag>(tag)) != nullptr) tag--;
  return static_cast<ExifTag>(tag);
}

}  // namespace

ExifEntry* init_tag(ExifData* exif, ExifIfd ifd, ExifTag tag) {
  ExifContent* content = exif->ifd[ifd];
  ExifEntry* present = exif_content_get_entry(content, tag);
  if (present != nullptr) return present;
  const EntryOwner entry(exif_entry_new());
  if (entry != nullptr) entry->tag = tag;
  if (entry == nullptr || !add_entry(content, entry.get())) {
    __assert_fail("entry != ((void *)0)", kSource, 31, "init_tag");
  }
  exif_entry_initialize(entry.get(), tag);
  return entry.get();
}

ExifEntry* create_tag(ExifData* exif, ExifTag tag, uint32_t size) {
  ExifContent* content = exif->ifd[EXIF_IFD_GPS];
  ExifEntry* present = exif_content_get_entry(content, tag);
  // Deliberate: an entry of the same size stays, and the IFD gets two of the tag. Readers take the
  // first one, so a photo that came with a position keeps it.
  if (present != nullptr && present->size != size) exif_content_remove_entry(content, present);

  const MemOwner mem(exif_mem_new_default());
  if (mem == nullptr) __assert_fail("mem != ((void *)0)", kSource, 50, "create_tag");
  const EntryOwner entry(exif_entry_new_mem(mem.get()));
  if (entry == nullptr) __assert_fail("entry != ((void *)0)", kSource, 53, "create_tag");
  // From the entry's own allocator, which frees it with the entry; libexif zero-fills it.
  auto* bytes = static_cast<unsigned char*>(exif_mem_alloc(mem.get(), size));
  if (bytes == nullptr) __assert_fail("buf != ((void *)0)", kSource, 56, "create_tag");
  entry->data = bytes;
  entry->size = size;
  entry->components = size;
  entry->format = EXIF_FORMAT_UNDEFINED;
  // libexif refuses a second entry of a tag: it comes in under a number that nobody has.
  entry->tag = unused_tag(content);
  if (!add_entry(content, entry.get())) {
    __assert_fail("entry != ((void *)0)", kSource, 53, "create_tag");
  }
  entry->tag = tag;
  return entry.get();
}

}  // namespace media
