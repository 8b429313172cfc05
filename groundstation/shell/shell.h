// The interactive shell: the same commands, line by line, on one link that stays up. Works on a
// terminal and with lines from a pipe; there the exit status is that of the last command that
// failed.
#pragma once

#include "groundstation/commands/registry.h"

namespace groundstation {

// Registers `shell`; not part of add_camera_commands, so a shell has no shell.
void add_shell_command(CLI::App& app, Action* chosen);

// The commands of one line. Not to be moved: the commands refer to its members.
struct ShellLine {
  ShellLine();
  ShellLine(const ShellLine&) = delete;
  ShellLine& operator=(const ShellLine&) = delete;

  CLI::App app;
  Action action;
  double timeout_s = 0;  // 0: as the shell was called
  bool json = false;
};

}  // namespace groundstation
