#include "media/card/list.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <new>

#include "base/text.h"

namespace media {
namespace {

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, FolderCloser>;

bool is_regular(DIR* folder, const dirent* entry) {
  if (entry->d_type != DT_UNKNOWN) return entry->d_type == DT_REG;
  // Some file systems leave the type out of the directory.
  struct stat status {};
  return fstatat(dirfd(folder), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(status.st_mode);
}

// The list's own link to the first node of that name: its predecessor, null for the first node.
struct Place {
  MediaFileNode* before;
  MediaFileNode* node;
};

Place find_place(const char* name, const MediaListHead* head) {
  MediaFileNode* before = nullptr;
  MediaFileNode* node = head->load();
  while (node != nullptr && std::strcmp(node->name, name) != 0) {
    before = node;
    node = node->next;
  }
  return {before, node};
}

void drop(const Place& place, MediaListHead* head) {
  if (place.before == nullptr) {
    head->store(place.node->next);
  } else {
    place.before->next = place.node->next;
  }
  delete place.node;
}

}  // namespace

int32_t media_file_exists(const char* path) {
  return path != nullptr && access(path, F_OK) == 0 ? 1 : 0;
}

uint64_t media_file_size(const char* path) {
  struct stat status {};
  if (path == nullptr || stat(path, &status) != 0) return UINT64_MAX;
  return static_cast<uint64_t>(status.st_size);
}

MediaFileNode* media_scan_dir(const char* folder, MediaListHead* head) {
  if (folder == nullptr || head == nullptr || head->load() != nullptr) return nullptr;
  const Folder open_folder(opendir(folder));
  if (open_folder == nullptr) return nullptr;
  MediaFileNode* last = nullptr;
  while (const dirent* entry = readdir(open_folder.get())) {
    if (!is_regular(open_folder.get(), entry)) continue;
    if (std::strstr(entry->d_name, "AA.MP4") != nullptr) continue;
    char path[kMediaPathSize];
    base::format_text(path, "%s/%s", folder, entry->d_name);
    MediaFileNode* node = media_node_new(DT_REG, entry->d_name, path);
    if (node == nullptr) break;
    if (last == nullptr) {
      head->store(node);
    } else {
      last->next = node;
    }
    last = node;
  }
  return last;
}

MediaFileNode* media_list_find(const char* name, const MediaListHead* head) {
  if (name == nullptr || head == nullptr) return nullptr;
  return find_place(name, head).node;
}

MediaFileNode* media_node_new(uint16_t type, const char* name, const char* path) {
  auto* node = new (std::nothrow) MediaFileNode{};
  if (node == nullptr) return nullptr;
  node->type = type;
  base::format_text(node->name, "%s", name);
  base::format_text(node->path, "%s", path);
  return node;
}

int32_t media_list_append(MediaFileNode* node, MediaListHead* head) {
  if (node == nullptr || head == nullptr) return -1;
  MediaFileNode* last = head->load();
  if (last == nullptr) {
    head->store(node);
    return 0;
  }
  while (last->next != nullptr) last = last->next;
  last->next = node;
  return 0;
}

int32_t media_list_unlink(const char* name, MediaListHead* head) {
  if (name == nullptr || head == nullptr || head->load() == nullptr) return -1;
  const Place place = find_place(name, head);
  if (place.node != nullptr) drop(place, head);
  return 0;
}

int32_t media_list_delete(const char* name, MediaListHead* head) {
  if (name == nullptr || head == nullptr || head->load() == nullptr) return -1;
  const Place place = find_place(name, head);
  if (place.node == nullptr) return 0;
  if (unlink(place.node->path) != 0) return -1;
  drop(place, head);
  return 0;
}

int32_t media_list_free(MediaListHead* head) {
  if (head == nullptr) return -1;
  MediaFileNode* node = head->exchange(nullptr);
  if (node == nullptr) return -1;
  while (node != nullptr) {
    MediaFileNode* next = node->next;
    delete node;
    node = next;
  }
  return 0;
}

int32_t media_list_count(const MediaListHead* head) {
  if (head == nullptr || head->load() == nullptr) return -1;
  int32_t count = 0;
  for (const MediaFileNode* node = head->load(); node != nullptr; node = node->next) count++;
  return count;
}

}  // namespace media
