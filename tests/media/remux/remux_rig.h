// The remux job, run on the test's own thread: its pauses are the moments at which packets come.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fake_base/fake_base.h"
#include "media/remux/remux.h"
#include "support/recordings.h"

namespace media_test {

class RemuxRig : public fake_base::FakeBaseTest {
 protected:
  RemuxRig();

  // Notes a state and has the job's own handler carry it out.
  static void record_state(uint32_t state);

  // Starts the job and runs it to its end: the packets come one by one, each when the job has none,
  // all of them `rounds` times. `at_pause` is called before each with the number of packets so far.
  void run(
      const std::vector<Bytes>& packets, const std::string& path,
      const std::function<void(size_t)>& at_pause = [](size_t) {}, size_t rounds = 1);
  void run(const std::vector<Bytes>& packets) { run(packets, output_); }

  static Bytes joined(const std::vector<Bytes>& packets, size_t from, size_t to);
  static size_t millisecond_pauses();

  static inline std::vector<uint32_t> states;  // of the job that ran last
  TemporaryFolder folder_;
  const std::string output_;
};

}  // namespace media_test
