#include "ambanetfifo/fifo_reader.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>

#include "base/clock.h"
#include "base/descriptor.h"

namespace fifo_test {
namespace {

using platform::FifoEntry;
using platform::FifoRequest;

// What the callbacks share with the test.
struct Shared {
  std::mutex lock;
  void* fifo[2] = {};
  int pending[2] = {};
  std::vector<Heard> heard;
};
Shared shared;

int32_t on_fifo(void* fifo, uint32_t event) {
  const std::lock_guard held(shared.lock);
  shared.heard.push_back({fifo, event, 0});
  for (int i = 0; i < 2; i++) {
    if (event == platform::kFifoEntryAdded && fifo == shared.fifo[i]) shared.pending[i]++;
  }
  return 0;
}

int32_t on_control(int32_t event, void* /*argument*/) {
  const std::lock_guard held(shared.lock);
  shared.heard.push_back({nullptr, 0, event});
  return event == 1 ? -1 : 0;
}

void set_environment(const char* name, const std::string& value) {
  if (value.empty()) {
    unsetenv(name);
  } else {
    setenv(name, value.c_str(), 1);
  }
}

}  // namespace

FifoReader::FifoReader(std::string_view script, const std::string& stream) {
  if (!script.empty()) std::ofstream(folder.path("script")) << script;
  set_environment("AMBANETFIFO_SCRIPT", script.empty() ? "" : folder.path("script"));
  set_environment("AMBANETFIFO_STREAM", stream);
  set_environment("AMBANETFIFO_CONTROL", folder.path("control"));
  set_environment("AMBANETFIFO_LOG", folder.path("log"));
  const std::lock_guard held(shared.lock);
  shared.heard.clear();
}

FifoReader::~FifoReader() {
  finish();
  platform::AmbaNetFifo_release();
}

int32_t FifoReader::begin() {
  const int32_t result = platform::AmbaNetFifo_init(&instance);
  if (result < 0 || instance < 0) return result;
  {
    const std::lock_guard held(shared.lock);
    for (int i = 0; i < 2; i++) {
      shared.fifo[i] = nullptr;
      shared.pending[i] = 0;
    }
  }
  platform::AmbaNetFifo_Reg_cbFifoEvent(on_fifo, 0);
  platform::AmbaNetFifo_Reg_cbControlEvent(on_control, 0);
  events = std::thread([] { platform::AmbaNetFifo_ExecEventProcess(nullptr); });
  return result;
}

bool FifoReader::attach() {
  list = {};
  info = {};
  if (platform::AmbaNetFifo_GetMediaStreamIDList(&list) < 0) return false;
  int32_t index = 0;
  while (index < platform::kFifoStreams && list.entries[index].active == 0) index++;
  if (index == platform::kFifoStreams) return false;
  if (platform::AmbaNetFifo_GetMediaInfo(index, &info) < 0) return false;
  platform::FifoConfiguration configuration = {};
  if (platform::AmbaNetFifo_GetDefaultCFG(&configuration) < 0) return false;
  for (int i = 0; i < 2; i++) {
    configuration.source = info.tracks[i].source;
    configuration.setting8 = 256;
    configuration.setting12 = 1;
    configuration.instance = static_cast<uint32_t>(instance);
    // Under the lock, so that no announcement can come before the handle is known.
    const std::lock_guard held(shared.lock);
    fifo[i] = shared.fifo[i] = platform::AmbaNetFifo_Create(&configuration);
    if (fifo[i] == nullptr) return false;
  }
  return true;
}

int FifoReader::finish() {
  for (void*& handle : fifo) {
    if (handle != nullptr) platform::AmbaNetFifo_Delete(handle);
    handle = nullptr;
  }
  if (!events.joinable()) return 0;
  int asked = 1;
  while (platform::AmbaNetFifo_StopEventProcess() != 0) {
    base::sleep_ms(1);
    asked++;
  }
  events.join();
  return asked;
}

void FifoReader::take(int track) {
  FifoRequest request = {fifo[track], 0};
  FifoEntry entry = {};
  if (const int32_t result = platform::AmbaNetFifo_PeekEntry(&request, &entry); result != 0) {
    failed_peeks++;
    last_failure = result;
    return;
  }
  const auto& record = info.tracks[track];
  Seen one = {track == 0, entry, {}, false, false, base::monotonic_us()};
  one.inside = entry.address >= record.ring_start && entry.address < record.ring_end;
  const bool end_mark = entry.type == 255 || entry.size == 0xFFFFFF;
  if (one.inside && !end_mark && entry.size <= record.ring_end - record.ring_start) {
    const uint64_t room = record.ring_end - entry.address;
    const auto* at = reinterpret_cast<const uint8_t*>(entry.address);
    const auto* start = reinterpret_cast<const uint8_t*>(record.ring_start);
    const uint64_t first = std::min<uint64_t>(room, entry.size);
    one.bytes.assign(at, at + first);
    one.bytes.insert(one.bytes.end(), start, start + (entry.size - first));
    one.wrapped = entry.size > room;
  }
  seen.push_back(std::move(one));
  request.operation = 1;
  platform::AmbaNetFifo_RemoveEnrty(&request);
  const std::lock_guard held(shared.lock);
  shared.pending[track]--;
}

bool FifoReader::pass() {
  bool worked = false;
  for (int i = 0; i < 2; i++) {
    int pending = 0;
    {
      const std::lock_guard held(shared.lock);
      pending = shared.pending[i];
    }
    if (pending < 1 || keep) continue;
    take(i);
    worked = true;
  }
  return worked;
}

bool FifoReader::pump(const std::function<bool()>& done, int timeout_ms) {
  const uint64_t end = base::monotonic_us() + static_cast<uint64_t>(timeout_ms) * 1000;
  while (!done()) {
    if (base::monotonic_us() >= end) return false;
    if (!pass()) base::sleep_ms(1);
  }
  return true;
}

void FifoReader::pump_for(int ms) {
  pump([] { return false; }, ms);
}

std::string FifoReader::control(const std::string& line) const {
  const base::Descriptor made(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un to = {};
  to.sun_family = AF_UNIX;
  const std::string path = folder.path("control");
  path.copy(to.sun_path, sizeof to.sun_path - 1);
  const timeval limit = {.tv_sec = 5, .tv_usec = 0};
  setsockopt(made.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  sockaddr_un own = {};
  own.sun_family = AF_UNIX;
  if (bind(made.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own.sun_family) != 0)
    return {};
  if (sendto(made.get(), line.data(), line.size(), 0, reinterpret_cast<const sockaddr*>(&to),
             sizeof to) < 0) {
    return "not sent";
  }
  char answer[512];
  const ssize_t size = recv(made.get(), answer, sizeof answer, 0);
  return size < 0 ? "no answer" : std::string(answer, static_cast<size_t>(size));
}

std::string FifoReader::log_text() const {
  const std::vector<uint8_t> bytes = file_bytes(folder.path("log"));
  return {bytes.begin(), bytes.end()};
}

std::vector<Heard> FifoReader::heard() const {
  const std::lock_guard held(shared.lock);
  return shared.heard;
}

int FifoReader::count_heard(int32_t control_event) const {
  int count = 0;
  for (const Heard& one : heard()) {
    if (one.fifo_event == 0 && one.control_event == control_event) count++;
  }
  return count;
}

std::vector<Seen> FifoReader::of(bool video) const {
  std::vector<Seen> found;
  for (const Seen& one : seen) {
    if (one.video == video) found.push_back(one);
  }
  return found;
}

size_t FifoReader::count_of(bool video) const {
  size_t count = 0;
  for (const Seen& one : seen) count += one.video == video ? 1 : 0;
  return count;
}

Seen FifoReader::next(bool video, size_t more) {
  const size_t wanted = count_of(video) + more;
  if (!pump([&] { return count_of(video) >= wanted; })) return {};
  return of(video).back();
}

std::vector<uint8_t> file_bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace fifo_test
