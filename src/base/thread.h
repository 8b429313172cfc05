// Starting threads. Unit tests replace this (tests/fake_base): there a thread is recorded, not
// started.
#pragma once

#include <pthread.h>

namespace base {

using ThreadBody = void* (*)(void*);

// Starts a thread with default attributes and the caller's own scheduling. Returns 0 and, if
// `handle` is not null, the thread's handle; otherwise an errno number.
int start_thread(ThreadBody body, void* argument, pthread_t* handle = nullptr);

// Starts a thread with default attributes and asks for SCHED_RR with that priority; a refusal (no
// right to real-time scheduling) is ignored and the thread keeps the caller's scheduling. The body
// runs only after the policy has been set, so a body may detach itself. Returns as start_thread.
int start_worker(ThreadBody body, void* argument, int priority, pthread_t* handle = nullptr);

// The calling thread will not be joined.
void detach_self();

// What tools show as the calling thread's name; at most 15 characters.
void name_self(const char* name);

}  // namespace base
