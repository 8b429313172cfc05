#include "media/photo/exif_entries.h"

#include <libexif/exif-mem.h>

#include <memory>
#include <utility>

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

// Hands the entry over to the IFD, which keeps it alive. Null when the IFD could not take it.
ExifEntry* hand_over(EntryOwner entry, ExifContent* content) {
  exif_content_add_entry(content, entry.get());
  ExifEntry* taken = entry->parent == content ? entry.get() : nullptr;
  return taken;
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
  EntryOwner made(exif_entry_new());
  if (made != nullptr) made->tag = tag;
  ExifEntry* entry = made != nullptr ? hand_over(std::move(made), content) : nullptr;
  if (entry == nullptr) __assert_fail("entry != ((void *)0)", kSource, 31, "init_tag");
  exif_entry_initialize(entry, tag);
  return entry;
}

ExifEntry* create_tag(ExifData* exif, ExifTag tag, uint32_t size) {
  ExifContent* content = exif->ifd[EXIF_IFD_GPS];
  ExifEntry* present = exif_content_get_entry(content, tag);
  // Deliberate: an entry of the same size stays, and the IFD gets two of the tag. Readers take the
  // first one, so a photo that came with a position keeps it.
  if (present != nullptr && present->size != size) exif_content_remove_entry(content, present);

  const MemOwner mem(exif_mem_new_default());
  if (mem == nullptr) __assert_fail("mem != ((void *)0)", kSource, 50, "create_tag");
  EntryOwner made(exif_entry_new_mem(mem.get()));
  if (made == nullptr) __assert_fail("entry != ((void *)0)", kSource, 53, "create_tag");
  // From the entry's own allocator, which frees it with the entry; libexif zero-fills it.
  auto* bytes = static_cast<unsigned char*>(exif_mem_alloc(mem.get(), size));
  if (bytes == nullptr) __assert_fail("buf != ((void *)0)", kSource, 56, "create_tag");
  made->data = bytes;
  made->size = size;
  made->components = size;
  made->format = EXIF_FORMAT_UNDEFINED;
  // libexif refuses a second entry of a tag: it comes in under a number that nobody has.
  made->tag = unused_tag(content);
  ExifEntry* entry = hand_over(std::move(made), content);
  if (entry == nullptr) __assert_fail("entry != ((void *)0)", kSource, 53, "create_tag");
  entry->tag = tag;
  return entry;
}

}  // namespace media
