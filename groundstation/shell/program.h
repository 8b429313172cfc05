// The whole command line of the program: its options and every command, the shell included.
#pragma once

#include <string>

#include "groundstation/commands/registry.h"

namespace groundstation {

inline constexpr const char* kProgramName = "groundstation";

struct ProgramOptions {
  std::string camera = "192.168.31.1";
  std::string local = "0.0.0.0";
  int link_level = 0;
  double timeout_s = 0;  // 0: the command's own default
  bool json = false;
  std::string trace;  // empty: none
};

// Both outlive the application.
void build_program(CLI::App& app, ProgramOptions* options, Action* action);

}  // namespace groundstation
