#include "rw/mutex.h"

#include <pthread.h>

RWMutexLock::RWMutexLock() {
#ifdef __GLIBC__
    // The adaptive kind: a thread that finds the mutex taken looks again for a moment before it
    // goes to sleep. What these mutexes guard is done sooner than a thread is woken. Without it,
    // were it refused, the mutex is an ordinary one.
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ADAPTIVE_NP);
    pthread_mutex_init(m_mutex.native_handle(), &attributes);
    pthread_mutexattr_destroy(&attributes);
#endif
}
