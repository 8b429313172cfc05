#include "base/thread.h"

#include <sched.h>
#include <semaphore.h>

#include <cerrno>

namespace base {
namespace {

// Lives on the creator's stack: the creator leaves only after the new thread has copied what it
// needs.
struct Gate {
  ThreadBody body;
  void* argument;
  sem_t policy_set;
  sem_t copied;
};

void wait_for(sem_t* semaphore) {
  while (sem_wait(semaphore) != 0 && errno == EINTR) {
  }
}

void* run_gated(void* argument) {
  auto* gate = static_cast<Gate*>(argument);
  wait_for(&gate->policy_set);
  const Gate mine{gate->body, gate->argument, {}, {}};
  sem_post(&gate->copied);
  return mine.body(mine.argument);
}

}  // namespace

int start_thread(ThreadBody body, void* argument, pthread_t* handle) {
  pthread_t thread{};
  const int result = pthread_create(&thread, nullptr, body, argument);
  if (result == 0 && handle != nullptr) *handle = thread;
  return result;
}

int start_worker(ThreadBody body, void* argument, int priority, pthread_t* handle) {
  Gate gate{body, argument, {}, {}};
  sem_init(&gate.policy_set, 0, 0);
  sem_init(&gate.copied, 0, 0);
  pthread_t thread{};
  const int result = pthread_create(&thread, nullptr, run_gated, &gate);
  if (result == 0) {
    sched_param parameters{};
    parameters.sched_priority = priority;
    (void)pthread_setschedparam(thread, SCHED_RR, &parameters);
    if (handle != nullptr) *handle = thread;
    sem_post(&gate.policy_set);
    wait_for(&gate.copied);
  }
  sem_destroy(&gate.policy_set);
  sem_destroy(&gate.copied);
  return result;
}

void detach_self() { pthread_detach(pthread_self()); }

}  // namespace base
