// Ending the process: the crash handler and the exit handler. Both take no lock of this program and
// no memory of their own; texts are formatted into a stack buffer and written with `write`.
//
// Not everything in them is on POSIX's list of what a handler may call: vsnprintf is not (with
// numbers and short texts glibc's takes neither memory nor locks), backtrace is not (it is called
// once beforehand, since its first call loads a library), and std::exit, which goes through the exit
// list, is not. The last is only reached while there is no thread yet to send signal 9 to.
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
