// The roads, kinds and calls that a command line asks for, as test cases.
#pragma once

#include <string>
#include <vector>

namespace faults_test {

// Plays what the words ask for (tools/faults --help), or without any the suite: one list of words
// after the other. Returns the program's exit status.
int play_all(int count, char** words, const std::vector<std::vector<std::string>>& suite);

}  // namespace faults_test
