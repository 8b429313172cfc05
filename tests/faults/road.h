// What a program is asked to do while its calls fail.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "faults/rig.h"

namespace faults_test {

struct Road {
  std::string name;
  // Asks for everything and waits for it. True when all of it came.
  std::function<bool(Rig&)> play;
  // Before every play, and before the start of a process that goes the road once: what has to lie
  // on the card.
  std::function<void(Rig&)> prepare_card = [](Rig&) {};
  // Before every play, with no fault: what the road needs, and nothing of an earlier one.
  std::function<void(Rig&)> prepare = [](Rig&) {};
  // After a play that was hit, also by the end of the process: the word of what is broken, empty
  // when nothing is.
  std::function<std::string(Rig&)> check = [](Rig&) { return std::string(); };
  // Starts the program and waits until the road can begin.
  std::function<bool(Rig&)> begin = [](Rig& rig) {
    rig.start();
    const bool served = rig.board().ready(seconds(20));
    rig.note(served ? "serves" : "does not serve");
    return served;
  };
  // Removes what the road needs and a board does not have.
  std::function<void(Rig&)> tidy = [](Rig&) {};
  const char* program = "maintask";
  // A process goes this road once.
  bool fresh = false;
  // The peer sends nothing until the play.
  bool silent = false;
  // The play is the start of the program.
  bool starts = false;
};

std::vector<Road> start_roads();
std::vector<Road> camera_roads();
std::vector<Road> media_roads();
std::vector<Road> flight_roads();
std::vector<Road> application_roads();

}  // namespace faults_test
