#include "config/korvanprofile.h"

#include <cstdio>
#include <new>
#include <utility>

#include "base/mutex.h"
#include "base/shell.h"
#include "base/text.h"

namespace config {

// What one load has read. Never changes once it is loaded; freed with the last copy.
struct ProfileTable {
  ProfileTable() = default;
  ProfileTable(const ProfileTable&) = delete;
  ProfileTable& operator=(const ProfileTable&) = delete;
  ~ProfileTable() { ccl_release(&handle); }

  CclHandle handle{};
  uint32_t pair_count = 0;
};

namespace {

constexpr const char* kProfilePath = "/korvan.conf";
constexpr const char* kModelName = "ModelName";

struct Profile {
  base::Mutex lock;  // a leaf: nothing else is taken or waited for while it is held
  std::shared_ptr<const ProfileTable> loaded GUARDED_BY(lock);
  uint32_t pair_count GUARDED_BY(lock) = 0;
};

// Never destroyed: threads may still read it while the process ends. In a place of its own, so that
// a start without memory has it as well.
Profile& profile() {
  alignas(Profile) static unsigned char place[sizeof(Profile)];
  static auto* instance = new (place) Profile;
  return *instance;
}

std::shared_ptr<const ProfileTable> loaded_table() {
  const base::Lock guard(profile().lock);
  return profile().loaded;
}

// The old table is freed behind the lock, and only if nobody copied it.
void install(std::shared_ptr<const ProfileTable> table) {
  const base::Lock guard(profile().lock);
  profile().pair_count = table != nullptr ? table->pair_count : 0;
  profile().loaded.swap(table);
}

// Null when memory is exhausted.
std::shared_ptr<ProfileTable> new_table() {
  try {
    return std::make_shared<ProfileTable>();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void load(ProfileTable* table) {
  table->handle.comment_character = '#';
  table->handle.separator_character = '=';
  table->handle.string_character = '"';
  ccl_parse(&table->handle, kProfilePath);
  while (const CclPair* pair = ccl_iterate(&table->handle)) {
    table->pair_count++;
    std::printf("%s(line=%d):(%s,%s)\n", "CclInit", 60, pair->key, pair->value);
  }
}

const char* printable(const char* text) { return text != nullptr ? text : "(null)"; }

}  // namespace

int CclInit() {
  const std::shared_ptr<ProfileTable> table = new_table();
  if (table != nullptr) load(table.get());
  install(table);
  // The second look-up is what other readers get. The copy keeps its text until it is printed.
  const ProfileCopy shared = profile_shared_copy();
  const char* own = table != nullptr ? ccl_get(&table->handle, kModelName) : nullptr;
  std::printf("%s(line=%d):keyvalue=%s,keyvalue1=%s\n", "CclInit", 68, printable(own),
              printable(ccl_get(&shared.handle, kModelName)));
  return 0;
}

const char* profile_get(const char* key) {
  const std::shared_ptr<const ProfileTable> table = loaded_table();
  return table != nullptr ? ccl_get(&table->handle, key) : nullptr;
}

uint32_t profile_pair_count() {
  const base::Lock guard(profile().lock);
  return profile().pair_count;
}

ProfileCopy profile_shared_copy() {
  std::shared_ptr<const ProfileTable> table = loaded_table();
  if (table == nullptr) return {};
  // After the walk of the load, so the next step begins again at the smallest key.
  return {table->handle, table->pair_count, std::move(table)};
}

int profile_release() {
  std::shared_ptr<const ProfileTable> none;
  const base::Lock guard(profile().lock);
  profile().loaded.swap(none);
  return 0;
}

int set_wifi_channel(int channel) {
  base::run_shell_quiet("/bin/sed -i '/WifiChannel/d' /korvan.conf");
  char command[50];
  base::format_text(command, "/bin/echo WifiChannel=%d", channel);
  base::run_shell_quiet(command);
  profile_release();
  return CclInit();
}

}  // namespace config
