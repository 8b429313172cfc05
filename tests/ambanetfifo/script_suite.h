// The suites that try the actions of the scripts, each on a reader of its own.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "ambanetfifo/fifo_reader.h"

namespace fifo_test {

inline constexpr const char* kOk = "ok\n";

class Script : public testing::Test {
 protected:
  // A reader that has taken its first picture.
  void open(std::string_view script = {}) {
    reader = std::make_unique<FifoReader>(script);
    ASSERT_TRUE(reader->open());
    ASSERT_EQ(reader->next(true).entry.type, 1);
  }
  // Runs an action and returns the next video entry for which `wanted` holds.
  template <typename Wanted>
  Seen after(const std::string& action, Wanted wanted, bool video = true) {
    const size_t before = reader->seen.size();
    EXPECT_EQ(reader->control(action), kOk);
    Seen found = {};
    EXPECT_TRUE(reader->pump([&] {
      for (size_t i = before; i < reader->seen.size(); i++) {
        if (reader->seen[i].video != video || !wanted(reader->seen[i])) continue;
        found = reader->seen[i];
        return true;
      }
      return false;
    })) << action;
    return found;
  }
  uint64_t ring_start(int track) { return reader->info.tracks[track].ring_start; }
  uint64_t ring_end(int track) { return reader->info.tracks[track].ring_end; }
  // Whether entries of the track still come.
  bool flows(bool video) {
    reader->pump_for(50);
    const size_t before = reader->of(video).size();
    reader->pump_for(150);
    return reader->of(video).size() > before;
  }
  bool hears(int32_t control_event, int times = 1) {
    return reader->pump([&] { return reader->count_heard(control_event) == times; });
  }

  std::unique_ptr<FifoReader> reader;
};

}  // namespace fifo_test
