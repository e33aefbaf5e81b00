// platform/posix/sync.cpp — the recursive mutex as a pthread mutex of the recursive kind.
#include "platform/sync.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <new>

namespace platform {

static_assert(sizeof(pthread_mutex_t) <= kRecursiveMutexSize, "the reserved storage holds a pthread mutex");

static pthread_mutex_t* AsMutex(void* storage)
{
    return static_cast<pthread_mutex_t*>(storage);
}

void RecursiveMutexInit(void* storage)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (storage) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void RecursiveMutexDestroy(void* storage)
{
    // glibc records the owner's kernel thread id; that is the one way to know whether the
    // destroying thread is inside without keeping a second field beside the mutex.
    pthread_mutex_t* mutex = AsMutex(storage);
    if (mutex->__data.__owner == static_cast<int>(syscall(SYS_gettid)))
        pthread_mutex_unlock(mutex);
    pthread_mutex_destroy(mutex);
}

void RecursiveMutexLock(void* storage)
{
    pthread_mutex_lock(AsMutex(storage));
}

bool RecursiveMutexTryLock(void* storage)
{
    return pthread_mutex_trylock(AsMutex(storage)) == 0;
}

void RecursiveMutexUnlock(void* storage)
{
    pthread_mutex_unlock(AsMutex(storage));
}

}  // namespace platform
