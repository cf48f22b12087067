#pragma once

// Lock annotations: under clang++ with -Wthread-safety the compiler proves that a guarded field is
// touched only with its lock held. They are empty for every other compiler.
#if defined(__clang__)
#define VESKO_ANNOTATE(attribute) __attribute__((attribute))
#else
#define VESKO_ANNOTATE(attribute)
#endif

/// On a class: it is a lock.
#define VESKO_LOCKABLE VESKO_ANNOTATE(capability("mutex"))
/// On a class: it holds a lock from its constructor to its destructor.
#define VESKO_SCOPED_LOCKABLE VESKO_ANNOTATE(scoped_lockable)
/// On a field: read and written only with `lock` held.
#define VESKO_GUARDED_BY(lock) VESKO_ANNOTATE(guarded_by(lock))
/// On an operation: the caller holds the lock.
#define VESKO_REQUIRES(...) VESKO_ANNOTATE(requires_capability(__VA_ARGS__))
/// On an operation: the caller does not hold the lock, which is taken inside.
#define VESKO_EXCLUDES(...) VESKO_ANNOTATE(locks_excluded(__VA_ARGS__))
/// On an operation: takes the lock and keeps it.
#define VESKO_ACQUIRE(...) VESKO_ANNOTATE(acquire_capability(__VA_ARGS__))
/// On an operation: takes the lock when it returns the first argument.
#define VESKO_TRY_ACQUIRE(...) VESKO_ANNOTATE(try_acquire_capability(__VA_ARGS__))
/// On an operation: gives the lock back.
#define VESKO_RELEASE(...) VESKO_ANNOTATE(release_capability(__VA_ARGS__))
/// On an operation whose locking the compiler cannot follow.
#define VESKO_NO_THREAD_SAFETY VESKO_ANNOTATE(no_thread_safety_analysis)
