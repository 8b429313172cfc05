// Process-wide switches: 32-bit words that several threads read and write without a lock. All are
// zero at start. Any thread may call; nothing fails.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/renew.h"

namespace supervisor {

struct Switches {
  std::atomic<int32_t> test_mode;        // the factory test marker was on the card at start
  std::atomic<int32_t> marker_20m;       // "/tmp/SD0/20M.txt" was on the card at start
  std::atomic<int32_t> video_flowing;    // live video entries are being taken from the FIFO
  std::atomic<int32_t> indicator_blink;  // the stream indicator blinks, whatever its level
  std::atomic<int32_t> indicator_level;  // 0 or 1

  // As at program start; before any thread runs, and in tests.
  void reset() { base::renew(*this); }
};

extern Switches switches;

int32_t get_test_mode();
int32_t get_marker_20m();
int32_t get_video_flowing();
// Stores 1 for any non-zero argument.
void set_video_flowing(int32_t on);

// Start-up, once the services run: reads the marker files of the card. The factory test marker has
// the photo and the video folder emptied, for which start-up waits 3 s. The media lists, which are
// read before, name the old files until the next rescan.
void read_marker_files();

}  // namespace supervisor
