// The C interface of the library.
#include <algorithm>
#include <mutex>

#include "ambanetfifo/actions.h"
#include "ambanetfifo/encoder.h"
#include "ambanetfifo/events.h"
#include "ambanetfifo/state.h"
#include "base/clock.h"
#include "platform/amba_net_fifo.h"

namespace ambanetfifo {
namespace {

constexpr int32_t kFailed = -1;
constexpr int32_t kScripted = -2;  // a failure that a script asked for
constexpr uint32_t kDefaultDepth = 64;
constexpr uint32_t kLargestDepth = 4096;

// Counts a scripted failure down; true while one is left.
bool fails(uint32_t& left) {
  if (left == 0) return false;
  left--;
  return true;
}

void close_reader(Reader& reader) {
  reader.open = false;
  std::deque<Waiting>().swap(reader.waiting);
}

// The open reader with that handle, null for any other pointer, which is not looked at.
Reader* find_reader(State& all, const void* handle) {
  for (Reader& reader : all.readers) {
    if (&reader == handle && reader.open) return &reader;
  }
  return nullptr;
}

bool stream_active(const State& all) {
  return !all.faults.inactive && base::monotonic_us() >= all.faults.inactive_until;
}

// Scripts work between two event loops as well.
void take_orders(State& all) {
  const uint64_t now_us = base::monotonic_us();
  take_messages(all, now_us);
  run_due_lines(all, now_us);
}

int32_t init(State& all, int32_t* instance) {
  *instance = -1;
  if (released && all.loop == EventLoop::kAbsent) {
    all.configured = false;
    released = false;
  }
  if (!all.configured) {
    if (!configure(all)) return kFailed;
    all.configured = true;
    load_script(all, base::monotonic_us());
  }
  take_orders(all);
  if (fails(all.faults.init)) return kScripted;
  if (all.loop == EventLoop::kRunning || all.loop == EventLoop::kStopping) return kFailed;
  if (fails(all.faults.init_instance)) return 0;
  for (Reader& reader : all.readers) {
    if (!reader.open) continue;
    all.log.line("init closes reader=%u", reader.number);
    close_reader(reader);
  }
  all.loop = EventLoop::kReady;
  *instance = ++all.instance;
  return 0;
}

int32_t stop_events(State& all) {
  take_orders(all);
  if (all.loop == EventLoop::kRunning) all.loop = EventLoop::kStopping;
  // A loop that has not begun never will.
  if (all.loop == EventLoop::kReady) all.loop = EventLoop::kAbsent;
  wake();
  if (fails(all.faults.stop)) return kScripted;
  return all.loop == EventLoop::kAbsent ? 0 : 1;
}

// Why a reader cannot be made, null when it can.
const char* refusal(State& all, const platform::FifoConfiguration& wanted) {
  if (fails(all.faults.create)) return "script";
  if (all.instance < 0 || wanted.instance != static_cast<uint32_t>(all.instance)) return "instance";
  if (wanted.source != kVideoSource && wanted.source != kAudioSource) return "source";
  if (wanted.setting8 < 1 || wanted.setting8 > kLargestDepth) return "setting 8";
  if (wanted.setting12 != 1) return "setting 12";
  // One slot stays free, so that the last deleted reader's handle is not given out at once.
  const auto open = std::count_if(all.readers.begin(), all.readers.end(),
                                  [](const Reader& reader) { return reader.open; });
  return static_cast<size_t>(open) + 1 >= all.readers.size() ? "too many" : nullptr;
}

void* create(State& all, const platform::FifoConfiguration& wanted) {
  if (const char* why = refusal(all, wanted); why != nullptr) {
    all.log.line("create refused: %s", why);
    return nullptr;
  }
  while (all.readers[all.next_reader].open) all.next_reader = (all.next_reader + 1) % kReaders;
  Reader& reader = all.readers[all.next_reader];
  all.next_reader = (all.next_reader + 1) % kReaders;
  reader.open = true;
  reader.kind = wanted.source == kVideoSource ? kVideo : kAudio;
  reader.number = ++all.readers_made;
  reader.depth = wanted.setting8;
  reader.wants_key = true;
  reader.ended = false;
  reader.empty_peeks = 0;
  all.log.line("create %s reader=%u", kKindNames[reader.kind], reader.number);
  wake();
  return &reader;
}

// A reader may ask for the same entry again and again; the log shows the calls 1, 2, 4, 8, ...
bool worth_a_line(uint32_t calls) { return (calls & (calls - 1)) == 0; }

int32_t peek(State& all, const platform::FifoRequest& request, platform::FifoEntry* entry) {
  Reader* reader = find_reader(all, request.fifo);
  if (reader == nullptr || request.operation != 0) {
    all.log.line("peek refused: operation=%u", request.operation);
    return kFailed;
  }
  const char* track = kKindNames[reader->kind];
  if (fails(all.tracks[reader->kind].failing_peeks)) {
    all.log.line("peek %s fails", track);
    return kScripted;
  }
  if (reader->waiting.empty()) {
    if (worth_a_line(++reader->empty_peeks)) {
      all.log.line("peek %s finds nothing calls=%u", track, reader->empty_peeks);
    }
    return kFailed;
  }
  Waiting& head = reader->waiting.front();
  *entry = head.entry;
  if (worth_a_line(++head.peeks)) {
    all.log.line("peek %s %llu type=%u size=%u calls=%u", track,
                 static_cast<unsigned long long>(head.number), entry->type, entry->size,
                 head.peeks);
  }
  return 0;
}

int32_t remove_entry(State& all, const platform::FifoRequest& request) {
  Reader* reader = find_reader(all, request.fifo);
  if (reader == nullptr || request.operation != 1 || reader->waiting.empty()) {
    all.log.line("remove refused: operation=%u", request.operation);
    return kFailed;
  }
  const Waiting& head = reader->waiting.front();
  all.log.line("remove %s %llu calls=%u", kKindNames[reader->kind],
               static_cast<unsigned long long>(head.number), head.peeks);
  reader->waiting.pop_front();
  return 0;
}

int32_t get_list(State& all, platform::FifoStreamList* list) {
  if (fails(all.faults.list)) return kScripted;
  list->count = all.faults.stream_count;
  const auto filled = std::min<size_t>(list->count, platform::kFifoStreams);
  for (size_t i = 0; i < filled; i++) {
    list->entries[i].active = i == kLiveStream && stream_active(all) ? 1 : 0;
  }
  return 0;
}

int32_t get_info(State& all, int32_t index, platform::FifoMediaInfo* info) {
  if (fails(all.faults.info)) return kScripted;
  if (index != static_cast<int32_t>(kLiveStream) || !all.configured) return kFailed;
  *info = all.info;
  return 0;
}

int32_t get_configuration(State& all, platform::FifoConfiguration* configuration) {
  if (fails(all.faults.configuration)) return kScripted;
  *configuration = {};
  configuration->setting8 = kDefaultDepth;
  return 0;
}

// Takes the lock for one call and writes its result to the log.
template <typename Call>
int32_t logged(const char* name, Call call) {
  State& all = state();
  const std::lock_guard held(all.lock);
  const int32_t result = call(all);
  all.log.line("%s -> %d", name, result);
  return result;
}

}  // namespace
}  // namespace ambanetfifo

namespace platform {

using ambanetfifo::logged;
using ambanetfifo::State;

// NOLINTBEGIN(readability-identifier-naming): the names are the vendor's.
extern "C" {

#define EXPORTED [[gnu::visibility("default")]]

EXPORTED int32_t AmbaNetFifo_init(int32_t* instance) {
  return logged("init", [=](State& all) {
    return instance == nullptr ? ambanetfifo::kFailed : ambanetfifo::init(all, instance);
  });
}

EXPORTED int32_t AmbaNetFifo_Reg_cbFifoEvent(int32_t (*callback)(void*, uint32_t), int32_t zero) {
  return logged("register fifo", [=](State& all) {
    if (zero != 0) return ambanetfifo::kFailed;
    all.fifo_callback = callback;
    return 0;
  });
}

EXPORTED int32_t AmbaNetFifo_Reg_cbControlEvent(int32_t (*callback)(int32_t, void*), int32_t zero) {
  return logged("register control", [=](State& all) {
    if (zero != 0) return ambanetfifo::kFailed;
    all.control_callback = callback;
    return 0;
  });
}

EXPORTED void* AmbaNetFifo_ExecEventProcess(void* /*argument*/) {
  ambanetfifo::run_event_loop();
  return nullptr;
}

EXPORTED int32_t AmbaNetFifo_StopEventProcess(void) {
  return logged("stop events", ambanetfifo::stop_events);
}

EXPORTED int32_t AmbaNetFifo_GetMediaStreamIDList(void* list) {
  return logged("list", [=](State& all) {
    return ambanetfifo::get_list(all, static_cast<FifoStreamList*>(list));
  });
}

EXPORTED int32_t AmbaNetFifo_GetMediaInfo(int32_t index, void* info) {
  return logged("info", [=](State& all) {
    return ambanetfifo::get_info(all, index, static_cast<FifoMediaInfo*>(info));
  });
}

EXPORTED int32_t AmbaNetFifo_GetDefaultCFG(void* configuration) {
  return logged("configuration", [=](State& all) {
    return ambanetfifo::get_configuration(all, static_cast<FifoConfiguration*>(configuration));
  });
}

EXPORTED void* AmbaNetFifo_Create(void* configuration) {
  State& all = ambanetfifo::state();
  std::unique_lock held(all.lock);
  const uint64_t delay_us = all.faults.create_us;
  held.unlock();
  if (delay_us != 0) base::sleep_us(delay_us);
  held.lock();
  return ambanetfifo::create(all, *static_cast<const FifoConfiguration*>(configuration));
}

EXPORTED int32_t AmbaNetFifo_PeekEntry(FifoRequest* request, void* entry) {
  State& all = ambanetfifo::state();
  const std::lock_guard held(all.lock);
  return ambanetfifo::peek(all, *request, static_cast<FifoEntry*>(entry));
}

EXPORTED int32_t AmbaNetFifo_RemoveEnrty(FifoRequest* request) {
  State& all = ambanetfifo::state();
  const std::lock_guard held(all.lock);
  return ambanetfifo::remove_entry(all, *request);
}

EXPORTED int32_t AmbaNetFifo_Delete(void* fifo) {
  return logged("delete", [=](State& all) {
    ambanetfifo::Reader* reader = ambanetfifo::find_reader(all, fifo);
    if (reader == nullptr) return ambanetfifo::kFailed;
    all.log.line("delete %s reader=%u", ambanetfifo::kKindNames[reader->kind], reader->number);
    ambanetfifo::close_reader(*reader);
    return 0;
  });
}

EXPORTED int32_t AmbaNetFifo_ReportStatus(int32_t status) {
  State& all = ambanetfifo::state();
  const std::lock_guard held(all.lock);
  all.log.line("status %d", status);
  return status >= 1 && status <= 3 ? 0 : ambanetfifo::kFailed;
}

// May run in an exit handler on top of any other call: takes no lock, frees nothing. The rings stay
// mapped for threads that still read from them; the next init makes everything new.
EXPORTED void AmbaNetFifo_release(void) {
  ambanetfifo::released = true;
  ambanetfifo::wake();
  ambanetfifo::remove_control_path();
}

}  // extern "C"
// NOLINTEND(readability-identifier-naming)

}  // namespace platform
