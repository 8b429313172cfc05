#include "base/thread.h"

#include <sched.h>

#include "base/mutex.h"

namespace base {
namespace {

// Lives on the creator's stack: the creator leaves only after the new thread has copied what it
// needs.
struct Gate {
  ThreadBody body;
  void* argument;
  Semaphore policy_set{0};
  Semaphore copied{0};
};

void* run_gated(void* argument) {
  auto* gate = static_cast<Gate*>(argument);
  gate->policy_set.wait_through_signals();
  const ThreadBody body = gate->body;
  void* const own_argument = gate->argument;
  gate->copied.post();
  return body(own_argument);
}

}  // namespace

int start_thread(ThreadBody body, void* argument, pthread_t* handle) {
  pthread_t thread{};
  const int result = pthread_create(&thread, nullptr, body, argument);
  if (result == 0 && handle != nullptr) *handle = thread;
  return result;
}

int start_worker(ThreadBody body, void* argument, int priority, pthread_t* handle) {
  Gate gate{body, argument};
  pthread_t thread{};
  const int result = pthread_create(&thread, nullptr, run_gated, &gate);
  if (result == 0) {
    sched_param parameters{};
    parameters.sched_priority = priority;
    (void)pthread_setschedparam(thread, SCHED_RR, &parameters);
    if (handle != nullptr) *handle = thread;
    gate.policy_set.post();
    gate.copied.wait_through_signals();
  }
  return result;
}

void detach_self() { pthread_detach(pthread_self()); }

void name_self(const char* name) { pthread_setname_np(pthread_self(), name); }

}  // namespace base
