// Goes one road again and again, with another call failing each time.
#pragma once

#include <string>

#include "faults/road.h"

namespace faults_test {

struct Wanted {
  faults::Kind kind;
  faults::Mode mode;
  int error = 0;
  uint32_t only = 0;     // this call alone; 0: all
  uint32_t stride = 1;   // every so many calls
  bool promises = true;  // all of them at the end, and a new board for the next
};

struct Tally {
  uint32_t calls = 0;   // of the kind on the road
  uint32_t played = 0;  // of them hit
  uint32_t ended = 0;   // plays after which the process had ended by itself
  uint32_t given = 0;   // plays that cost what the program is meant to lose
  uint32_t broken = 0;  // plays that broke a promise
};

// A broken promise is printed, and a failure of the test.
Tally play(Rig& rig, const Road& road, const Wanted& wanted);

}  // namespace faults_test
