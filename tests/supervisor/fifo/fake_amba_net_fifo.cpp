#include "supervisor/fifo/fake_amba_net_fifo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <mutex>

namespace fake_fifo {

char video_reader;
char audio_reader;

namespace {

State the_state;

std::mutex recording;

void call(const std::string& text) {
  const std::lock_guard held(recording);
  the_state.calls.push_back(text);
}

std::string name(const void* reader) {
  if (reader == &video_reader) return "video";
  if (reader == &audio_reader) return "audio";
  return reader == nullptr ? "null" : "other";
}

// The library's records have to come zeroed.
void expect_zeroed(const void* record, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(record);
  EXPECT_TRUE(std::all_of(bytes, bytes + size, [](uint8_t byte) { return byte == 0; }));
}

}  // namespace

State& state() { return the_state; }
void reset() { the_state = State{}; }

}  // namespace fake_fifo

namespace platform {

using fake_fifo::call;
using fake_fifo::the_state;

extern "C" {

int32_t AmbaNetFifo_init(int32_t* instance) {
  call("init");
  if (the_state.on_init) the_state.on_init();
  std::pair<int32_t, int32_t> answer{0, 7};
  if (!the_state.init_results.empty()) {
    answer = the_state.init_results.front();
    the_state.init_results.pop_front();
  }
  if (answer.second != fake_fifo::kUntouched) *instance = answer.second;
  return answer.first;
}

int32_t AmbaNetFifo_Reg_cbFifoEvent(int32_t (*callback)(void*, uint32_t), int32_t zero) {
  call("register fifo " + std::to_string(zero));
  the_state.fifo_callback = callback;
  return 0;
}

int32_t AmbaNetFifo_Reg_cbControlEvent(int32_t (*callback)(int32_t, void*), int32_t zero) {
  call("register control " + std::to_string(zero));
  the_state.control_callback = callback;
  return 0;
}

void* AmbaNetFifo_ExecEventProcess(void* argument) {
  call("execute " + fake_fifo::name(argument));
  return nullptr;
}

int32_t AmbaNetFifo_StopEventProcess() {
  call("stop");
  if (the_state.on_stop) the_state.on_stop();
  if (the_state.stop_results.empty()) return 0;
  const int32_t result = the_state.stop_results.front();
  the_state.stop_results.pop_front();
  return result;
}

int32_t AmbaNetFifo_GetMediaStreamIDList(void* list) {
  call("list");
  fake_fifo::expect_zeroed(list, 1092);
  std::memcpy(list, &the_state.list, 1092);
  return the_state.list_result;
}

int32_t AmbaNetFifo_GetMediaInfo(int32_t index, void* info) {
  call("info " + std::to_string(index));
  fake_fifo::expect_zeroed(info, 328);
  std::memcpy(info, &the_state.media, 328);
  return the_state.media_result;
}

int32_t AmbaNetFifo_GetDefaultCFG(void* configuration) {
  call("defaults");
  fake_fifo::expect_zeroed(configuration, 40);
  std::memcpy(configuration, &the_state.defaults, 40);
  return the_state.defaults_result;
}

void* AmbaNetFifo_Create(void* configuration) {
  call("create");
  if (the_state.on_create) the_state.on_create();
  const std::lock_guard held(fake_fifo::recording);
  the_state.created.push_back(*static_cast<FifoConfiguration*>(configuration));
  if (the_state.handles.empty()) return nullptr;
  void* handle = the_state.handles.front();
  the_state.handles.pop_front();
  return handle;
}

int32_t AmbaNetFifo_PeekEntry(FifoRequest* request, void* entry) {
  call("peek " + fake_fifo::name(request->fifo));
  EXPECT_EQ(request->operation, 0U);
  auto& queue = the_state.entries[request->fifo];
  if (queue.empty()) return the_state.peek_empty_result;
  std::memcpy(entry, &queue.front(), 40);
  return 0;
}

int32_t AmbaNetFifo_RemoveEnrty(FifoRequest* request) {
  call("remove " + fake_fifo::name(request->fifo));
  EXPECT_EQ(request->operation, 1U);
  auto& queue = the_state.entries[request->fifo];
  EXPECT_FALSE(queue.empty());
  if (!queue.empty()) queue.pop_front();
  return 0;
}

int32_t AmbaNetFifo_Delete(void* fifo) {
  call("delete " + fake_fifo::name(fifo));
  return 0;
}

int32_t AmbaNetFifo_ReportStatus(int32_t status) {
  call("status " + std::to_string(status));
  return 0;
}

void AmbaNetFifo_release() { call("release"); }

}  // extern "C"

}  // namespace platform
