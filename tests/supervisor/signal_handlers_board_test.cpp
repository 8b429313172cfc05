// Ending a process by signal: each case runs in a process of its own and is judged by its output
// and its wait status. On a board, since the acknowledged sender binds a fixed port.
#include "supervisor/signal_handlers.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <utility>

#include "flightlink/wire/reliable_udp.h"
#include "media/card/store.h"
#include "media/channel/transfer.h"
#include "media/channel/transfer_context.h"

// Before any worker runs, the exit handler goes through the exit list on purpose, although that is
// no async-signal-safe work: nothing else runs yet that it could meet.
extern "C" const char* __tsan_default_options() { return "report_signal_unsafe=0"; }

namespace supervisor {
namespace {

struct Ending {
  int status;
  std::string output;
};

// Runs the body in a child whose standard output is a pipe.
Ending run(const std::function<void()>& body) {
  int pipe_ends[2];
  EXPECT_EQ(pipe(pipe_ends), 0);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(pipe_ends[1], STDOUT_FILENO);
    close(pipe_ends[0]);
    close(pipe_ends[1]);
    body();
    _exit(77);
  }
  close(pipe_ends[1]);
  Ending ending{};
  char text[4096];
  for (ssize_t size = 0; (size = read(pipe_ends[0], text, sizeof(text))) > 0;) {
    ending.output.append(text, static_cast<size_t>(size));
  }
  close(pipe_ends[0]);
  EXPECT_EQ(waitpid(child, &ending.status, 0), child);
  return ending;
}

[[gnu::noinline]] void write_where_nothing_is() {
  auto* nowhere = reinterpret_cast<volatile int*>(0x1000);  // NOLINT
  *nowhere = 1;
}

TEST(CrashHandler, PrintsTheFaultAndTheExecutionPathAndExitsWithOne) {
  const Ending ending = run([] {
    install_crash_handler();
    write_where_nothing_is();
  });
  ASSERT_TRUE(WIFEXITED(ending.status));
  EXPECT_EQ(WEXITSTATUS(ending.status), 1);
  const std::regex form(
      "Got signal 11, si_code= x1, faulty address is 0x1000, from 0x([0-9a-f]+)\n"
      "\\[backtrace\\] Execution path:\n"
      "\\[backtrace\\] .*\\[0x([0-9a-f]+)\\]\n"
      "(\\[backtrace\\] .*\\[0x[0-9a-f]+\\]\n)*");
  std::smatch match;
  ASSERT_TRUE(std::regex_match(ending.output, match, form)) << ending.output;
  // The path begins where the fault was.
  EXPECT_EQ(match[1], match[2]) << ending.output;
  // The head, the title and at least the fault's own function and its callers.
  const auto lines = std::ranges::count(ending.output, '\n');
  EXPECT_GE(lines, 2 + 3);
  EXPECT_LE(lines, 2 + 29);
}

int deep(int depth);

// Called through a pointer that may change: every level stays on the stack.
int (*volatile next_level)(int) = deep;

int deep(int depth) {
  if (depth == 0) write_where_nothing_is();
  return depth == 0 ? 0 : next_level(depth - 1) + 1;
}

TEST(CrashHandler, ADeepPathIsCutTo29Entries) {
  const Ending ending = run([] {
    install_crash_handler();
    (void)next_level(100);
  });
  EXPECT_EQ(std::ranges::count(ending.output, '\n'), 2 + 29) << ending.output;
}

TEST(CrashHandler, IsInstalledWithSignalInformationAndAnEmptyMask) {
  const Ending ending = run([] {
    install_crash_handler();
    struct sigaction action {};
    sigaction(SIGSEGV, nullptr, &action);
    sigset_t empty;
    sigemptyset(&empty);
    const bool good = (action.sa_flags & SA_SIGINFO) != 0 && (action.sa_flags & SA_RESTART) != 0 &&
                      sigisemptyset(&action.sa_mask) == 1;
    _exit(good ? 5 : 6);
  });
  ASSERT_TRUE(WIFEXITED(ending.status));
  EXPECT_EQ(WEXITSTATUS(ending.status), 5);
}

struct ExitSignal {
  int number;
  const char* line;
};

const ExitSignal kExitSignals[] = {
    {SIGTERM, "maintask.c: Got signal 15, program exits!\n"},
    {SIGQUIT, "maintask.c: Got signal 3, program exits!\n"},
    {SIGINT, "maintask.c: Got signal 2, program exits!\n"},
    {SIGHUP, "maintask.c: Got signal 1, program exits!\n"},
    {SIGUSR1, "maintask.c: Got signal 10, program exits!\n"},
};

TEST(ExitHandler, BeforeAnyWorkerRunsItExitsWithZeroThroughTheExitList) {
  for (const ExitSignal& signal : kExitSignals) {
    const Ending ending = run([&signal] {
      install_exit_handler();
      std::atexit([] { (void)!write(STDOUT_FILENO, "cleaned up\n", 11); });
      raise(signal.number);
    });
    ASSERT_TRUE(WIFEXITED(ending.status)) << signal.number;
    EXPECT_EQ(WEXITSTATUS(ending.status), 0) << signal.number;
    EXPECT_EQ(ending.output, std::string(signal.line) + "cleaned up\n");
  }
}

TEST(ExitHandler, WithTheAcknowledgedSenderRunningTheProcessIsKilled) {
  for (const ExitSignal& signal : kExitSignals) {
    const Ending ending = run([&signal] {
      install_exit_handler();
      flightlink::reliable_udp_block_alarm();
      if (flightlink::reliable_udp_init() != 0) _exit(78);
      raise(signal.number);
    });
    ASSERT_TRUE(WIFSIGNALED(ending.status)) << signal.number << " status " << ending.status;
    EXPECT_EQ(WTERMSIG(ending.status), SIGKILL) << signal.number;
    EXPECT_EQ(ending.output, signal.line);
  }
}

// Ends the process from a thread that has seen the flag become true, and nothing else, of the
// thread that starts the workers. Returns what was written to either stream.
Ending ended_beside_start_up(const std::atomic<bool>& started, int (*start)()) {
  return run([&] {
    dup2(STDOUT_FILENO, STDERR_FILENO);
    flightlink::reliable_udp_block_alarm();
    install_exit_handler();
    std::thread([&started] {
      while (!started.load(std::memory_order_relaxed)) std::this_thread::yield();
      raise(SIGTERM);
    }).detach();
    if (start() != 0) _exit(78);
    for (;;) pause();
  });
}

// Whether the handler may read what start-up has just written is the thread sanitizer's to say.
TEST(ExitHandler, ReadsTheHandleOfAWorkerThatIsJustBeingStarted) {
  const std::pair<const std::atomic<bool>*, int (*)()> services[] = {
      {&media::transfer_context.worker_started, media::transfer_start},
      {&flightlink::reliable_udp_context.receiver_started, flightlink::reliable_udp_init},
  };
  for (const auto& [started, start] : services) {
    const Ending ending = ended_beside_start_up(*started, start);
    EXPECT_EQ(ending.output, "maintask.c: Got signal 15, program exits!\n");
    ASSERT_TRUE(WIFSIGNALED(ending.status)) << ending.status;
    EXPECT_EQ(WTERMSIG(ending.status), SIGKILL);
  }
}

TEST(ExitHandler, DetachesTheMediaListsAfterItsLine) {
  const Ending ending = run([] {
    install_exit_handler();
    media::media_add_file("a.JPG", "/tmp/a.JPG", media::MEDIA_PHOTO);
    std::atexit([] {
      const bool empty = media::media_list(media::MEDIA_PHOTO)->load() == nullptr;
      (void)!write(STDOUT_FILENO, empty ? "detached\n" : "attached\n", 9);
    });
    raise(SIGTERM);
  });
  EXPECT_EQ(ending.output, "maintask.c: Got signal 15, program exits!\ndetached\n");
}

TEST(ExitHandler, IsInstalledWithRestartAndAnEmptyMask) {
  const Ending ending = run([] {
    install_exit_handler();
    bool good = true;
    for (const ExitSignal& signal : kExitSignals) {
      struct sigaction action {};
      sigaction(signal.number, nullptr, &action);
      good = good && (action.sa_flags & SA_RESTART) != 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
             sigisemptyset(&action.sa_mask) == 1 && action.sa_handler != SIG_DFL;
    }
    _exit(good ? 5 : 6);
  });
  ASSERT_TRUE(WIFEXITED(ending.status));
  EXPECT_EQ(WEXITSTATUS(ending.status), 5);
}

}  // namespace
}  // namespace supervisor
