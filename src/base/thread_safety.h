// Names for clang's thread safety analysis (-Wthread-safety): a word that is marked GUARDED_BY a mutex
// is only touched while that mutex is held, or the build fails. Other compilers see nothing.
#pragma once

#if defined(__clang__)
#define BASE_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define BASE_THREAD_SAFETY(attribute)
#endif

#define CAPABILITY(name) BASE_THREAD_SAFETY(capability(name))
#define SCOPED_CAPABILITY BASE_THREAD_SAFETY(scoped_lockable)
// Of a word, and of what a pointer points to.
#define GUARDED_BY(mutex) BASE_THREAD_SAFETY(guarded_by(mutex))
#define PT_GUARDED_BY(mutex) BASE_THREAD_SAFETY(pt_guarded_by(mutex))
// Of a function: the caller holds the mutex, or must not hold it.
#define REQUIRES(...) BASE_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) BASE_THREAD_SAFETY(locks_excluded(__VA_ARGS__))
// Of a function that takes or gives back.
#define ACQUIRE(...) BASE_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define RELEASE(...) BASE_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) BASE_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))
// Of a function that the analysis cannot follow; a comment beside it says why it is right.
#define NO_THREAD_SAFETY_ANALYSIS BASE_THREAD_SAFETY(no_thread_safety_analysis)
