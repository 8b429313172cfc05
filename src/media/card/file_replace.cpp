#include "media/card/file_replace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "base/descriptor.h"
#include "base/mutex.h"
#include "base/text.h"
#include "media/card/names.h"
#include "media/card/paced_writer.h"

namespace media {
namespace {

constexpr char kTemporaryName[] = ".unfinished.AA.MP4";
constexpr size_t kPathSize = kMediaPathSize + sizeof(kTemporaryName);

// One name per folder, so that a leftover of a power cut is overwritten by the next file; hence the
// lock.
base::Mutex replace_lock;

// Of "folder/name" gives "folder/", of "name" nothing. False when the text is too long.
bool folder_part(const char* path, char (&folder)[kPathSize]) {
  const char* slash = std::strrchr(path, '/');
  const size_t length = slash == nullptr ? 0 : static_cast<size_t>(slash - path) + 1;
  if (length > kMediaPathSize) return false;
  std::memcpy(folder, path, length);
  folder[length] = '\0';
  return true;
}

// A new file that is ours: never a link or a device that somebody left under that name.
base::File create_file(const char* path, mode_t mode) {
  unlink(path);
  base::Descriptor fd(open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
  if (!fd.open()) return nullptr;
  base::File file(fdopen(fd.get(), "wb"));
  if (file != nullptr) (void)fd.release();
  return file;
}

bool has_reached_disk(std::FILE* file, size_t size) {
  struct stat status {};
  return std::ferror(file) == 0 && fsync(fileno(file)) == 0 && fstat(fileno(file), &status) == 0 &&
         static_cast<size_t>(status.st_size) == size;
}

bool write_whole(const char* path, mode_t mode, const void* bytes, size_t size) {
  base::File file = create_file(path, mode);
  if (file == nullptr) return false;
  const bool whole =
      media_write_paced(bytes, size, file.get()) == size && has_reached_disk(file.get(), size);
  return std::fclose(file.release()) == 0 && whole;
}

void sync_folder(const char* folder) {
  const base::Descriptor fd(
      open(folder[0] == '\0' ? "." : folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.open()) fsync(fd.get());
}

}  // namespace

int32_t media_replace_file(const char* path, const void* bytes, size_t size) {
  if (path == nullptr || bytes == nullptr) return -1;
  char folder[kPathSize];
  char temporary[2 * kPathSize];
  if (!folder_part(path, folder)) return -1;
  base::format_text(temporary, "%s%s", folder, kTemporaryName);

  const base::Lock lock(replace_lock);
  struct stat old {};
  const bool existed = stat(path, &old) == 0;
  if (existed && !S_ISREG(old.st_mode)) return -1;
  const mode_t mode = existed ? (old.st_mode & 0777) : 0666;
  if (!write_whole(temporary, mode, bytes, size) || std::rename(temporary, path) != 0) {
    unlink(temporary);
    return -1;
  }
  sync_folder(folder);
  return 0;
}

}  // namespace media
