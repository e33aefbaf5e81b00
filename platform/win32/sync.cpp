// platform/win32/sync.cpp — the recursive mutex as a slim reader/writer lock taken exclusively, with its owner
// and depth beside it, and the self-resetting event as an auto-reset event of the system.
// The library keeps the owner itself, as on the other host: a thread that reads its own id there holds the
// mutex, a destroying owner can release every level it holds, and an unlock by a thread that holds nothing
// is refused instead of corrupting the lock, which a critical section would let happen.
#include "platform/sync.h"

#include <windows.h>

#include <atomic>
#include <new>

namespace platform {

namespace {

struct RecursiveMutex
{
    SRWLOCK lock;
    // The holding thread's id, or 0, which no thread has. Only the holder writes its own id here.
    std::atomic<DWORD> owner;
    unsigned depth;
};

static_assert(sizeof(RecursiveMutex) <= kRecursiveMutexSize, "the reserved storage holds the lock, owner and depth");
static_assert(alignof(RecursiveMutex) <= 8, "the reserved storage is aligned to 8");

RecursiveMutex* AsMutex(void* storage)
{
    return static_cast<RecursiveMutex*>(storage);
}

bool HeldByCaller(RecursiveMutex* mutex)
{
    return mutex->owner.load(std::memory_order_relaxed) == ::GetCurrentThreadId();
}

void TakeOwnership(RecursiveMutex* mutex)
{
    mutex->owner.store(::GetCurrentThreadId(), std::memory_order_relaxed);
    mutex->depth = 1;
}

}  // namespace

void RecursiveMutexInit(void* storage)
{
    RecursiveMutex* mutex = new (storage) RecursiveMutex;
    ::InitializeSRWLock(&mutex->lock);
    mutex->owner.store(0, std::memory_order_relaxed);
    mutex->depth = 0;
}

void RecursiveMutexDestroy(void* storage)
{
    RecursiveMutex* mutex = AsMutex(storage);
    if (HeldByCaller(mutex)) {
        mutex->depth = 0;
        mutex->owner.store(0, std::memory_order_relaxed);
        ::ReleaseSRWLockExclusive(&mutex->lock);
    }
    mutex->~RecursiveMutex();  // a slim lock holds no system resource
}

void RecursiveMutexLock(void* storage)
{
    RecursiveMutex* mutex = AsMutex(storage);
    if (HeldByCaller(mutex)) {
        ++mutex->depth;
        return;
    }
    ::AcquireSRWLockExclusive(&mutex->lock);
    TakeOwnership(mutex);
}

bool RecursiveMutexTryLock(void* storage)
{
    RecursiveMutex* mutex = AsMutex(storage);
    if (HeldByCaller(mutex)) {
        ++mutex->depth;
        return true;
    }
    if (!::TryAcquireSRWLockExclusive(&mutex->lock))
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
    ::ReleaseSRWLockExclusive(&mutex->lock);
}

struct Event
{
    HANDLE handle;
};

Event* NewEvent()
{
    HANDLE handle = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (handle == nullptr)
        return nullptr;
    Event* event = new (std::nothrow) Event{handle};
    if (event == nullptr)
        ::CloseHandle(handle);
    return event;
}

void DeleteEvent(Event* event)
{
    if (event == nullptr)
        return;
    ::CloseHandle(event->handle);
    delete event;
}

void SignalEvent(Event* event)
{
    ::SetEvent(event->handle);
}

bool WaitForEvent(Event* event, uint32_t milliseconds)
{
    static_assert(kWaitForever == INFINITE, "the library's endless wait is the system's");
    return ::WaitForSingleObject(event->handle, milliseconds) == WAIT_OBJECT_0;
}

}  // namespace platform
