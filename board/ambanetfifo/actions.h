// The script language: what a line may say and what it does. README.md lists the actions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ambanetfifo/state.h"

namespace ambanetfifo {

// Runs every line of `text` at once, or, behind "at SECONDS", that long after the first init.
// Empty lines and what follows a # are skipped. A line that cannot be understood is skipped as
// well. Returns what was wrong with the first such line, empty when all was well. Under the State's
// lock.
std::string run_script(State& state, std::string_view text, uint64_t now_us);

// Runs the file that the environment names, if any; a fault is a line on standard error.
void load_script(State& state, uint64_t now_us);

// Runs what the control socket received, answering "ok" or the fault.
void take_messages(State& state, uint64_t now_us);

// Runs the lines that are due. Returns when the next one is, kNever when none waits.
uint64_t run_due_lines(State& state, uint64_t now_us);

}  // namespace ambanetfifo
