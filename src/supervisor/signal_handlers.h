// Ending the process: the crash handler and the exit handler. In both only async-signal-safe work
// is done: a text is formatted into a stack buffer and written to standard output.
#pragma once

namespace supervisor {

// Start-up. SIGSEGV: prints where and how, the execution path, and ends with status 1. SIGTERM,
// SIGQUIT, SIGINT, SIGHUP and SIGUSR1 (SIGKILL is asked for and refused): prints the exit line,
// detaches the media lists and sends signal 9 to the media worker, which ends the whole process. A
// signal that comes before there is a worker ends it the same way at the acknowledged sender's
// thread, and before that with status 0.
void install_crash_handler();
void install_exit_handler();

}  // namespace supervisor
