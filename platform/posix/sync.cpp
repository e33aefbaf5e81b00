// platform/posix/sync.cpp — the recursive mutex as a plain pthread mutex with its owner and depth beside it,
// and the self-resetting event as one atomic word that waiters sleep on with a futex.
// The owner is kept by the library rather than read out of the pthread mutex, whose fields are the C
// library's private business: that is also what lets a destroying owner release every level it holds.
#include "platform/sync.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <new>

namespace platform {

namespace {

struct RecursiveMutex
{
    pthread_mutex_t mutex;
    // The holding thread, or 0. Only the holder writes its own id here, so a thread that reads its own id
    // knows that it holds the mutex; any other value, however stale, means that it does not.
    std::atomic<uintptr_t> owner;
    unsigned depth;
};

static_assert(sizeof(RecursiveMutex) <= kRecursiveMutexSize, "the reserved storage holds the mutex, owner and depth");
static_assert(alignof(RecursiveMutex) <= 8, "the reserved storage is aligned to 8");
static_assert(std::atomic<uintptr_t>::is_always_lock_free, "the owner is read without a lock");

RecursiveMutex* AsMutex(void* storage)
{
    return static_cast<RecursiveMutex*>(storage);
}

// The calling thread's identity: its thread pointer, unique among live threads (glibc's pthread_self gives the
// same value), read inline on every entry instead of through a call into the C library.
uintptr_t CallingThread()
{
    return reinterpret_cast<uintptr_t>(__builtin_thread_pointer());
}

bool HeldByCaller(RecursiveMutex* mutex)
{
    return mutex->owner.load(std::memory_order_relaxed) == CallingThread();
}

void TakeOwnership(RecursiveMutex* mutex)
{
    mutex->owner.store(CallingThread(), std::memory_order_relaxed);
    mutex->depth = 1;
}

int64_t MonotonicNanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

}  // namespace

void RecursiveMutexInit(void* storage)
{
    RecursiveMutex* mutex = new (storage) RecursiveMutex;
    pthread_mutex_init(&mutex->mutex, nullptr);
    mutex->owner.store(0, std::memory_order_relaxed);
    mutex->depth = 0;
}

void RecursiveMutexDestroy(void* storage)
{
    RecursiveMutex* mutex = AsMutex(storage);
    if (HeldByCaller(mutex)) {
        mutex->depth = 0;
        mutex->owner.store(0, std::memory_order_relaxed);
        pthread_mutex_unlock(&mutex->mutex);
    }
    pthread_mutex_destroy(&mutex->mutex);
    mutex->~RecursiveMutex();
}

void RecursiveMutexLock(void* storage)
{
    RecursiveMutex* mutex = AsMutex(storage);
    if (HeldByCaller(mutex)) {
        ++mutex->depth;
        return;
    }
    pthread_mutex_lock(&mutex->mutex);
    TakeOwnership(mutex);
}

bool RecursiveMutexTryLock(void* storage)
{
    RecursiveMutex* mutex = AsMutex(storage);
    if (HeldByCaller(mutex)) {
        ++mutex->depth;
        return true;
    }
    if (pthread_mutex_trylock(&mutex->mutex) != 0)
        return false;
    TakeOwnership(mutex);
    return true;
}

void RecursiveMutexUnlock(void* storage)
{
    RecursiveMutex* mutex = AsMutex(storage);
    if (!HeldByCaller(mutex))
        return;  // not the caller's to release
    if (--mutex->depth > 0)
        return;
    mutex->owner.store(0, std::memory_order_relaxed);
    pthread_mutex_unlock(&mutex->mutex);
}

struct Event
{
    // 1 while signalled. A word of its own, waited on with a futex: the event is signalled by a thread that a
    // forced end is unwinding, where taking a mutex is not safe to rely on.
    std::atomic<uint32_t> signalled{0};
};

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t), "the futex word is the atomic itself");

Event* NewEvent()
{
    return new (std::nothrow) Event;
}

void DeleteEvent(Event* event)
{
    delete event;
}

void SignalEvent(Event* event)
{
    event->signalled.store(1, std::memory_order_release);
    syscall(SYS_futex, reinterpret_cast<uint32_t*>(&event->signalled), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

bool WaitForEvent(Event* event, uint32_t milliseconds)
{
    const int64_t deadline = MonotonicNanoseconds() + static_cast<int64_t>(milliseconds) * 1000000;
    for (;;) {
        // Taking the signal and clearing it are one step, so that one signal lets exactly one wait through.
        if (event->signalled.exchange(0, std::memory_order_acq_rel) == 1)
            return true;
        timespec left{};
        if (milliseconds != kWaitForever) {
            const int64_t remaining = deadline - MonotonicNanoseconds();
            if (remaining <= 0)
                return false;
            left = timespec{static_cast<time_t>(remaining / 1000000000), static_cast<long>(remaining % 1000000000)};
        }
        // Sleeps only while the word is still 0: a signal that came after the exchange wakes it at once.
        syscall(SYS_futex, reinterpret_cast<uint32_t*>(&event->signalled), FUTEX_WAIT_PRIVATE, 0,
                milliseconds == kWaitForever ? nullptr : &left, nullptr, 0);
    }
}

}  // namespace platform
