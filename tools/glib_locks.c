// Tells ThreadSanitizer of GLib's locks, which are futexes inside a library that it does not see
// into: without them every hand-over between two threads of GStreamer looks like a race. A library
// for scripts/check-threads to preload.
#define _GNU_SOURCE
#include <dlfcn.h>

void __tsan_acquire(void* lock);
void __tsan_release(void* lock);

// GLib's function of this name, where a lock is taken with `after` and let go with `before`. What
// returns nothing may as well return an int.
#define NOTHING(lock)
#define LOCKING(name, before, after)                              \
  int name(void* lock) {                                          \
    int (*glib)(void*) = (int (*)(void*))dlsym(RTLD_NEXT, #name); \
    before(lock);                                                 \
    int result = glib(lock);                                      \
    after(lock);                                                  \
    return result;                                                \
  }
LOCKING(g_mutex_lock, NOTHING, __tsan_acquire)
LOCKING(g_mutex_trylock, NOTHING, __tsan_acquire)
LOCKING(g_mutex_unlock, __tsan_release, NOTHING)
LOCKING(g_rec_mutex_lock, NOTHING, __tsan_acquire)
LOCKING(g_rec_mutex_trylock, NOTHING, __tsan_acquire)
LOCKING(g_rec_mutex_unlock, __tsan_release, NOTHING)

// The same for the lock of a condition; `until` is only one function's.
#define WAITING(name)                                                                       \
  int name(void* condition, void* lock, long until) {                                       \
    int (*glib)(void*, void*, long) = (int (*)(void*, void*, long))dlsym(RTLD_NEXT, #name); \
    __tsan_release(lock);                                                                   \
    int result = glib(condition, lock, until);                                              \
    __tsan_acquire(lock);                                                                   \
    return result;                                                                          \
  }
WAITING(g_cond_wait)
WAITING(g_cond_wait_until)
