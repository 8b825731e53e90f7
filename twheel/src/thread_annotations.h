#pragma once

// Names for clang's thread-safety analysis (-Wthread-safety); nothing for other compilers.
#if defined(__clang__)
#define TWHEEL_ANNOTATION(x) __attribute__((x))
#else
#define TWHEEL_ANNOTATION(x)
#endif

#define TWHEEL_CAPABILITY(name) TWHEEL_ANNOTATION(capability(name))
#define TWHEEL_SCOPED_CAPABILITY TWHEEL_ANNOTATION(scoped_lockable)
#define TWHEEL_GUARDED_BY(mutex) TWHEEL_ANNOTATION(guarded_by(mutex))
#define TWHEEL_REQUIRES(...) TWHEEL_ANNOTATION(requires_capability(__VA_ARGS__))
#define TWHEEL_EXCLUDES(...) TWHEEL_ANNOTATION(locks_excluded(__VA_ARGS__))
#define TWHEEL_ACQUIRE(...) TWHEEL_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TWHEEL_RELEASE(...) TWHEEL_ANNOTATION(release_capability(__VA_ARGS__))
