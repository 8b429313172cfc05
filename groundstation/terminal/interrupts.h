// Ctrl-C and SIGTERM as something to poll for, so that a command can switch the live video off and
// close its file before it ends. SIGPIPE is ignored: a reader that goes away is a failed write.
// Main thread only; set up before any other thread starts, since threads inherit the blocked
// signals.
#pragma once

namespace groundstation {

void catch_interrupts();

// Readable when a signal waits; -1 before catch_interrupts.
[[nodiscard]] int interrupt_fd();

// Reads what waits. Returns the last signal since clear_interrupt, 0 for none.
int interrupted();
void clear_interrupt();
// Whether SIGTERM has come at any time; clear_interrupt leaves this alone.
[[nodiscard]] bool terminating();

}  // namespace groundstation
