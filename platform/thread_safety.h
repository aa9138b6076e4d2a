// Annotations for clang's thread-safety analysis (-Wthread-safety): which type is a lock, which
// data a lock guards, which functions take, leave or need a lock. Other compilers see nothing.
#pragma once

#if defined(__clang__)
#define SC_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define SC_THREAD_ANNOTATION(x)
#endif

#define SC_CAPABILITY(name) SC_THREAD_ANNOTATION(capability(name))
#define SC_SCOPED_CAPABILITY SC_THREAD_ANNOTATION(scoped_lockable)
#define SC_GUARDED_BY(lock) SC_THREAD_ANNOTATION(guarded_by(lock))
#define SC_PT_GUARDED_BY(lock) SC_THREAD_ANNOTATION(pt_guarded_by(lock))
#define SC_ACQUIRE(...) SC_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define SC_RELEASE(...) SC_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define SC_TRY_ACQUIRE(...) SC_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define SC_REQUIRES(...) SC_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define SC_EXCLUDES(...) SC_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
// For the few functions whose locking the analysis cannot follow; each use says why.
#define SC_NO_THREAD_SAFETY_ANALYSIS SC_THREAD_ANNOTATION(no_thread_safety_analysis)
