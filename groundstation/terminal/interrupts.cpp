#include "groundstation/terminal/interrupts.h"

#include <sys/signalfd.h>

#include <csignal>

#include "base/descriptor.h"

namespace groundstation {
namespace {

base::Descriptor signals;
int last_signal = 0;
bool terminate_seen = false;

}  // namespace

void catch_interrupts() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  signals.reset(::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
  std::signal(SIGPIPE, SIG_IGN);
}

int interrupt_fd() { return signals.get(); }

int interrupted() {
  signalfd_siginfo info{};
  while (signals.open() && ::read(signals.get(), &info, sizeof info) == sizeof info) {
    last_signal = static_cast<int>(info.ssi_signo);
    terminate_seen |= last_signal == SIGTERM;
  }
  return last_signal;
}

void clear_interrupt() { last_signal = 0; }

bool terminating() { return terminate_seen; }

}  // namespace groundstation
