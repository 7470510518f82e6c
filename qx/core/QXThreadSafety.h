// What the compiler is told of locks: which one guards what, and what a function takes or needs.
// clang checks it (-Wthread-safety); for other compilers the attributes are nothing.

#ifndef QX_CORE_QXTHREADSAFETY_H_
#define QX_CORE_QXTHREADSAFETY_H_

#if defined(__clang__)
#define QX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QX_THREAD_ATTRIBUTE(x)
#endif

/// Before a class's name: it is a lock, or holds one from construction to destruction.
#define QX_LOCKABLE QX_THREAD_ATTRIBUTE(capability("mutex"))
#define QX_SCOPED_LOCK QX_THREAD_ATTRIBUTE(scoped_lockable)

/// Behind a member: read and written only with that lock held. Constructors and destructors are not
/// looked at: nobody else has the object then.
#define QX_GUARDED_BY(lock) QX_THREAD_ATTRIBUTE(guarded_by(lock))

/// Behind a function: the caller holds the lock.
#define QX_REQUIRES(lock) QX_THREAD_ATTRIBUTE(requires_capability(lock))
#define QX_ACQUIRE(...) QX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define QX_RELEASE(...) QX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))

/// Behind a function that reads without the lock on purpose; the reason stands beside it.
#define QX_UNCHECKED_LOCKS QX_THREAD_ATTRIBUTE(no_thread_safety_analysis)

#endif  // QX_CORE_QXTHREADSAFETY_H_
