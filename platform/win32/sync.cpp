// platform/win32/sync.cpp — the recursive mutex as a critical section, which is recursive by nature.
#include "platform/sync.h"

#include <windows.h>

#include <cstdint>
#include <new>

namespace platform {

static_assert(sizeof(CRITICAL_SECTION) <= kRecursiveMutexSize, "the reserved storage holds a critical section");

static CRITICAL_SECTION* AsSection(void* storage)
{
    return static_cast<CRITICAL_SECTION*>(storage);
}

void RecursiveMutexInit(void* storage)
{
    ::InitializeCriticalSection(new (storage) CRITICAL_SECTION);
}

void RecursiveMutexDestroy(void* storage)
{
    // The section records its owner's thread id; deleting a section that is held is undefined, so the
    // destroying owner leaves it once first.
    CRITICAL_SECTION* section = AsSection(storage);
    if (static_cast<DWORD>(reinterpret_cast<uintptr_t>(section->OwningThread)) == ::GetCurrentThreadId())
        ::LeaveCriticalSection(section);
    ::DeleteCriticalSection(section);
}

void RecursiveMutexLock(void* storage)
{
    ::EnterCriticalSection(AsSection(storage));
}

bool RecursiveMutexTryLock(void* storage)
{
    return ::TryEnterCriticalSection(AsSection(storage)) != 0;
}

void RecursiveMutexUnlock(void* storage)
{
    ::LeaveCriticalSection(AsSection(storage));
}

}  // namespace platform
