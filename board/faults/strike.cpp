#include "faults/strike.h"

#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <unwind.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace faults {
namespace {

struct Range {
  uintptr_t begin = 0;
  uintptr_t end = 0;
  [[nodiscard]] bool holds(uintptr_t address) const { return address >= begin && address < end; }
};

// Filled before main and only read afterwards.
constinit Page* page = nullptr;
// What passes a call on for somebody else: this library and the C and C++ libraries.
std::array<Range, 8> passing;
size_t passing_count = 0;
// The board's own libraries, whose calls are not the program's.
std::array<Range, 2> stand_ins;
size_t stand_in_count = 0;

int note_module(dl_phdr_info* info, size_t /*size*/, void* own) {
  Range range{UINTPTR_MAX, 0};
  for (size_t i = 0; i < info->dlpi_phnum; i++) {
    const auto& header = info->dlpi_phdr[i];
    if (header.p_type != PT_LOAD) continue;
    range.begin = std::min<uintptr_t>(range.begin, info->dlpi_addr + header.p_vaddr);
    range.end = std::max<uintptr_t>(range.end, info->dlpi_addr + header.p_vaddr + header.p_memsz);
  }
  const auto is = [name = std::string_view(info->dlpi_name)](std::string_view part) {
    return name.find(part) != std::string_view::npos;
  };
  if (is("libambanetfifo") || is("libclockshim")) stand_ins.at(stand_in_count++) = range;
  const bool passes = range.holds(reinterpret_cast<uintptr_t>(own)) || is("/libc.so") ||
                      is("/libstdc++.so") || is("/libgcc_s.so") || is("/ld-linux");
  if (passes && passing_count < passing.size()) passing[passing_count++] = range;
  return 0;
}

[[gnu::constructor]] void attach() {
  const char* name = std::getenv(kPageVariable);
  if (name == nullptr) return;
  const int file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, name, O_RDWR | O_CLOEXEC));
  // What the program starts is not the program.
  unsetenv("LD_PRELOAD");
  unsetenv(kPageVariable);
  if (file < 0) return;
  void* mapped = mmap(nullptr, sizeof(Page), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  syscall(SYS_close, file);
  if (mapped == MAP_FAILED) return;
  dl_iterate_phdr(note_module, reinterpret_cast<void*>(&attach));
  page = static_cast<Page*>(mapped);
}

bool holds(const auto& ranges, size_t count, uintptr_t address) {
  return std::any_of(ranges.begin(), ranges.begin() + count,
                     [=](const Range& range) { return range.holds(address); });
}

_Unwind_Reason_Code find_caller(_Unwind_Context* context, void* found) {
  const uintptr_t address = _Unwind_GetIP(context);
  if (holds(passing, passing_count, address)) return _URC_NO_REASON;
  *static_cast<uintptr_t*>(found) = address;
  return _URC_END_OF_STACK;
}

bool made_by_the_program() {
  uintptr_t caller = 0;
  _Unwind_Backtrace(find_caller, &caller);
  return !holds(stand_ins, stand_in_count, caller);
}

struct Text {
  std::array<char, sizeof(Page::where)> bytes{};
  size_t size = 0;
  int frames = 0;
  void append(const char* format, auto... arguments) {
    const int added = std::snprintf(bytes.data() + size, bytes.size() - size, format, arguments...);
    if (added > 0) size = std::min(size + static_cast<size_t>(added), bytes.size() - 1);
  }
};

_Unwind_Reason_Code note_frame(_Unwind_Context* context, void* argument) {
  auto& text = *static_cast<Text*>(argument);
  const uintptr_t address = _Unwind_GetIP(context);
  Dl_info module{};
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the unwinder has addresses as numbers
  if (dladdr(reinterpret_cast<void*>(address), &module) == 0) return _URC_NO_REASON;
  const char* slash = std::strrchr(module.dli_fname, '/');
  const char* name = slash == nullptr ? module.dli_fname : slash + 1;
  if (std::strcmp(name, "libfaults.so") == 0) return _URC_NO_REASON;
  text.append(" %s+0x%zx", name, address - reinterpret_cast<uintptr_t>(module.dli_fbase));
  return ++text.frames < 14 ? _URC_NO_REASON : _URC_END_OF_STACK;
}

}  // namespace

bool strikes(Kind kind, const char* function, const char* detail, int fitting) {
  if (page == nullptr || page->mode.load() == kOff || page->kind != kind) return false;
  const int before = errno;
  if (!made_by_the_program() || ++page->counted != page->call) {
    errno = before;
    return false;
  }
  Text text;
  text.append("%s(%s)", function, detail == nullptr ? "" : detail);
  _Unwind_Backtrace(note_frame, &text);
  page->where = text.bytes;
  page->struck = 1;
  if (page->mode == kKill) {
    syscall(SYS_kill, getpid(), SIGKILL);
    for (;;) pause();
  }
  errno = page->error == 0 ? fitting : page->error.load();
  return true;
}

}  // namespace faults
