// Factory test mode: the test station at the far end of /dev/ttyS1 sends short text commands, and
// this side answers. For the program that the factory starts; start-up of the main task does not.
#pragma once

#include <atomic>
#include <cstdint>

namespace supervisor {

// A switch that the runner clears and that nothing else reads; 1 at start.
extern std::atomic<uint8_t> testmode_not_running;

// The runner: starts the service below and, from the tenth second on, runs the recording test once
// a second while the card holds KRVMEDIA/autorec.conf. Returns -1 when the card holds no
// KRVMEDIA/testmode.conf, and otherwise never, whether or not the line could be opened.
int32_t testmode_run();

// Clears the test state, opens and sets up the line and starts the reader thread (SCHED_RR 2).
// Returns the low 32 bits of the thread's id, or -1 after reporting what failed.
int32_t testmode_uart_start();

// One turn of the reader thread: waits up to 1 s for a read from the line and carries out the one
// command that it is. A whole read is one command, without a line ending; what arrives in two reads
// or together with another command is none. A recording test takes its 11 s here.
void testmode_uart_turn();

}  // namespace supervisor
