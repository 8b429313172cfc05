// A reader of the media FIFO for tests: the main thread takes entries, a second one runs the
// events.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/amba_net_fifo.h"
#include "support/temporary_folder.h"

namespace fifo_test {

// One entry that was taken, with a copy of its bytes.
struct Seen {
  bool video;
  platform::FifoEntry entry;
  std::vector<uint8_t> bytes;  // empty for an end mark or an address outside the ring
  bool wrapped;
  bool inside;  // the address lies in the ring
  uint64_t at_us;
};

// One announcement or control event, in the order of arrival.
struct Heard {
  void* fifo;
  uint32_t fifo_event;  // 0: a control event
  int32_t control_event;
};

class FifoReader {
 public:
  // Sets the environment of the library: a fresh control socket and log in a folder of its own, and
  // the script, if it is not empty. `stream` names another stream file.
  explicit FifoReader(std::string_view script = {}, const std::string& stream = {});
  FifoReader(const FifoReader&) = delete;
  FifoReader& operator=(const FifoReader&) = delete;
  // Ends the cycle, releases the library and removes the folder.
  ~FifoReader();

  // One init, the callbacks and the event thread. Returns init's result.
  int32_t begin();
  // Creates readers as the media information says. False when a call failed or nothing was active.
  bool attach();
  bool open() { return begin() >= 0 && attach(); }
  // Deletes the readers and stops the events. Returns how often the stop had to be asked for.
  int finish();

  // Takes entries until `done` or the time is over; true when done.
  bool pump(const std::function<bool()>& done, int timeout_ms = 5000);
  void pump_for(int ms);
  // Sends a line to the control socket and returns the answer.
  std::string control(const std::string& line) const;

  [[nodiscard]] std::string log_text() const;
  [[nodiscard]] std::vector<Heard> heard() const;
  [[nodiscard]] int count_heard(int32_t control_event) const;
  [[nodiscard]] std::vector<Seen> of(bool video) const;
  // Pumps until `more` more entries of the track have come and returns the last of them.
  Seen next(bool video, size_t more = 1);

  const support::TemporaryFolder folder;
  std::vector<Seen> seen;
  platform::FifoMediaInfo info = {};
  platform::FifoStreamList list = {};
  int32_t instance = -1;
  void* fifo[2] = {};  // video, audio
  bool keep = false;   // entries are announced but not taken
  uint64_t failed_peeks = 0;
  int32_t last_failure = 0;
  std::thread events;

 private:
  bool pass();
  void take(int track);
  [[nodiscard]] size_t count_of(bool video) const;
};

// The whole file.
std::vector<uint8_t> file_bytes(const std::string& path);

}  // namespace fifo_test
