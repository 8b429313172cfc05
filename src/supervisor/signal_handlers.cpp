#include "supervisor/signal_handlers.h"

#include <execinfo.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "base/text.h"
#include "flightlink/wire/reliable_udp.h"
#include "media/channel/transfer.h"

namespace supervisor {
namespace {

constexpr int kBacktraceDepth = 30;

void write_all(const char* text, size_t length) {
  while (length > 0) {
    const ssize_t written = write(STDOUT_FILENO, text, length);
    if (written < 1) return;
    text += written;
    length -= static_cast<size_t>(written);
  }
}

void* program_counter(const ucontext_t* context) {
#if defined(__aarch64__)
  return reinterpret_cast<void*>(context->uc_mcontext.pc);  // NOLINT
#elif defined(__x86_64__)
  return reinterpret_cast<void*>(context->uc_mcontext.gregs[REG_RIP]);  // NOLINT
#else
#error "the crash handler does not know this machine's registers"
#endif
}

void crash_handler(int signal, siginfo_t* info, void* context) {
  void* interrupted = program_counter(static_cast<const ucontext_t*>(context));
  char text[250];
  write_all(text, base::format_text(
                      text, "Got signal %d, si_code= x%x, faulty address is %p, from 0x%llx\n",
                      signal, static_cast<unsigned>(info->si_code), info->si_addr,
                      static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(interrupted))));
  void* addresses[kBacktraceDepth];
  const int captured = backtrace(addresses, kBacktraceDepth);
  // The second entry is the signal trampoline; the fault itself is what the reader wants to see
  // there.
  if (captured > 1) addresses[1] = interrupted;
  write_all(text, base::format_text(text, "[backtrace] Execution path:\n"));
  for (int i = 1; i < captured; i++) {
    write_all(text, base::format_text(text, "[backtrace] "));
    backtrace_symbols_fd(addresses + i, 1, STDOUT_FILENO);
  }
  _exit(1);
}

void exit_handler(int signal) {
  char text[100];
  write_all(text,
            base::format_text(text, "%s: Got signal %d, program exits!\n", "maintask.c", signal));
  media::transfer_stop();
  flightlink::reliable_udp_deinit();
  std::exit(0);
}

}  // namespace

void install_crash_handler() {
  // The first backtrace of a process loads a library, which no signal handler may do.
  void* warm_up[1];
  (void)backtrace(warm_up, 1);
  struct sigaction action {};
  action.sa_sigaction = crash_handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  sigaction(SIGSEGV, &action, nullptr);
}

void install_exit_handler() {
  struct sigaction action {};
  action.sa_handler = exit_handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  // The kernel refuses SIGKILL; the request has always been made and costs nothing.
  for (const int signal : {SIGTERM, SIGQUIT, SIGINT, SIGHUP, SIGUSR1, SIGKILL}) {
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace supervisor
