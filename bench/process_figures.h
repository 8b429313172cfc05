// What a process and its threads have cost so far, and what runs a loop as one of them does.
#pragma once

#include <dirent.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/types.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <thread>

#include "support/board_files.h"

namespace bench {

inline double clock_seconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Processor time of the calling thread, and of a process with all threads it ever had.
inline double thread_cpu_seconds() { return clock_seconds(CLOCK_THREAD_CPUTIME_ID); }
inline double cpu_seconds(pid_t pid) {
  clockid_t clock{};
  return clock_getcpuclockid(pid, &clock) == 0 ? clock_seconds(clock) : 0;
}

// The number behind a word of a status file, 0 when it is not there.
inline long status_number(const std::string& path, const char* word) {
  const std::string status = support::read_file(path);
  const size_t at = status.find(word);
  return at == std::string::npos
             ? 0
             : std::strtol(status.c_str() + status.find(':', at) + 1, nullptr, 10);
}

inline long resident_kb(pid_t pid) {
  return status_number("/proc/" + std::to_string(pid) + "/status", "VmRSS:");
}

struct ThreadCost {
  double cpu_s;
  long sleeps;  // how often it has waited for something
  int policy;
  int priority;
};

// By thread id. Threads that have ended are not there.
inline std::map<pid_t, ThreadCost> thread_costs(pid_t pid) {
  std::map<pid_t, ThreadCost> costs;
  const std::string folder = "/proc/" + std::to_string(pid) + "/task/";
  for (const std::string& name : support::list_folder(folder)) {
    const auto thread = static_cast<pid_t>(std::atoi(name.c_str()));
    sched_param parameters{};
    if (sched_getparam(thread, &parameters) != 0) continue;
    const std::string run_ns = support::read_file(folder + name + "/schedstat");
    costs[thread] = {.cpu_s = std::strtod(run_ns.c_str(), nullptr) / 1e9,
                     .sleeps = status_number(folder + name + "/status", "voluntary_ctxt_switches"),
                     .policy = sched_getscheduler(thread),
                     .priority = parameters.sched_priority};
  }
  return costs;
}

// The thread of that policy and priority that has cost most between the two, 0 when there is none.
inline pid_t busiest(const std::map<pid_t, ThreadCost>& before,
                     const std::map<pid_t, ThreadCost>& after, int policy, int priority) {
  pid_t found = 0;
  double most = -1;
  for (const auto& [thread, cost] : after) {
    if (cost.policy != policy || cost.priority != priority || !before.contains(thread)) continue;
    const double spent = cost.cpu_s - before.at(thread).cpu_s;
    if (spent <= most) continue;
    found = thread;
    most = spent;
  }
  return found;
}

// Runs the work on a thread that is scheduled and woken as that one of another process is.
template <typename Work>
void run_like(const ThreadCost& other, Work work) {
  std::thread([&] {
    sched_param parameters{};
    parameters.sched_priority = other.priority;
    if (sched_setscheduler(0, other.policy, &parameters) != 0) std::perror("sched_setscheduler");
    work();
  }).join();
}

}  // namespace bench
