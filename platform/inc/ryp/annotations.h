#ifndef RYP_ANNOTATIONS_H
#define RYP_ANNOTATIONS_H

/// Lock annotations. Clang checks them with -Wthread-safety; other compilers see nothing.

#if defined(__clang__)
#define RYP_ATTRIBUTE(x) __attribute__((x))
#else
#define RYP_ATTRIBUTE(x)
#endif

#define RYP_CAPABILITY(name) RYP_ATTRIBUTE(capability(name))
#define RYP_SCOPED_CAPABILITY RYP_ATTRIBUTE(scoped_lockable)
#define RYP_GUARDED_BY(lock) RYP_ATTRIBUTE(guarded_by(lock))
#define RYP_REQUIRES(...) RYP_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define RYP_EXCLUDES(...) RYP_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define RYP_ACQUIRE(...) RYP_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RYP_RELEASE(...) RYP_ATTRIBUTE(release_capability(__VA_ARGS__))
#define RYP_TRY_ACQUIRE(...) RYP_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define RYP_NO_THREAD_SAFETY_ANALYSIS RYP_ATTRIBUTE(no_thread_safety_analysis)

#endif
