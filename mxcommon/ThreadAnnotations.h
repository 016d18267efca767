#pragma once

// Lock rules that clang checks at compile time (-Wthread-safety); other compilers see nothing.
#ifdef __clang__
#define ZEB_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define ZEB_THREAD_ANNOTATION(attribute)
#endif

/** On a class: its objects can be held, as a mutex can. */
#define ZEB_CAPABILITY(name) ZEB_THREAD_ANNOTATION(capability(name))
/** On a class: its objects hold a capability for as long as they live. */
#define ZEB_SCOPED_CAPABILITY ZEB_THREAD_ANNOTATION(scoped_lockable)
/** On a member: it may only be touched while the mutex is held. */
#define ZEB_GUARDED_BY(mutex) ZEB_THREAD_ANNOTATION(guarded_by(mutex))
/** On a function: the caller must hold the mutexes. */
#define ZEB_REQUIRES(...) ZEB_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/** On a function: the caller must not hold the mutexes, because the function takes them. */
#define ZEB_EXCLUDES(...) ZEB_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
/** On a function: the mutexes (or the object itself) are held when it returns. */
#define ZEB_ACQUIRE(...) ZEB_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
/** On a function: the mutexes (or the object itself) are no longer held when it returns. */
#define ZEB_RELEASE(...) ZEB_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
