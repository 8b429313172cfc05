// Shell commands: how small chores on files, GPIO lines and the network are done on this board.
// A name from outside must have passed safe_name before it becomes part of a command.
// A command that cannot be started is tried again for less than 100 ms: memory or processes may be
// short for a moment. Unit tests replace this (tests/fake_base): there a command is recorded, not
// run. Safe from any thread.
#pragma once

#include <cstddef>
#include <functional>

namespace base {

// Runs the command and waits for it. Returns its wait status, -1 if it could not be started.
int run_shell(const char* command);

// Runs the command through a pipe opened for reading, closes the pipe at once (which waits for the
// command) and sleeps 10 ms. Reports "poen failed!" through perror if the pipe cannot be opened.
void run_shell_quiet(const char* command);

// Runs the command and reads the first line of its output, at most size - 1 bytes, newline
// included. Returns 1 when something was read, 0 when nothing was, -1 when the pipe could not be
// opened.
int read_shell_line(const char* command, char* line, size_t size);

// Runs the command and gives every line of its output to `take`, without its newline, until `take`
// returns false. A line of more than 49 bytes comes in pieces. Returns 0, or -1 when the pipe could
// not be opened.
int read_shell_lines(const char* command, const std::function<bool(const char* line)>& take);

}  // namespace base
