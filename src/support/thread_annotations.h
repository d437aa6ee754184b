// Clang's thread-safety annotations under our names; nothing under other compilers.
// A lock or a serial queue is a capability; a field that it owns says so and is checked by
// -Wthread-safety.
#pragma once

#if defined(__clang__)
#define QUORVANE_ANNOTATE(x) __attribute__((x))
#else
#define QUORVANE_ANNOTATE(x)
#endif

#define QUORVANE_CAPABILITY(name) QUORVANE_ANNOTATE(capability(name))
#define QUORVANE_SCOPED_CAPABILITY QUORVANE_ANNOTATE(scoped_lockable)
#define QUORVANE_GUARDED_BY(lock) QUORVANE_ANNOTATE(guarded_by(lock))
// The field is touched only by tasks of that queue.
#define QUORVANE_ON(queue) QUORVANE_ANNOTATE(guarded_by(queue))
#define QUORVANE_REQUIRES(...) QUORVANE_ANNOTATE(requires_capability(__VA_ARGS__))
#define QUORVANE_EXCLUDES(...) QUORVANE_ANNOTATE(locks_excluded(__VA_ARGS__))
#define QUORVANE_ACQUIRE(...) QUORVANE_ANNOTATE(acquire_capability(__VA_ARGS__))
#define QUORVANE_RELEASE(...) QUORVANE_ANNOTATE(release_capability(__VA_ARGS__))
#define QUORVANE_ASSERT_CAPABILITY(x) QUORVANE_ANNOTATE(assert_capability(x))
#define QUORVANE_RETURN_CAPABILITY(x) QUORVANE_ANNOTATE(lock_returned(x))
