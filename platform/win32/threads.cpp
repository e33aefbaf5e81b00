// platform/win32/threads.cpp — system threads: suspended creation, exit codes, TerminateThread and the
// system's own priority levels, which are the scale the library speaks in.
// The entry is reached through a start record that the new thread takes over, so that the handle may be
// closed while the thread still runs; a thread ended before it was ever resumed never takes it, and then
// the handle releases it.
#include "platform/threads.h"

#include <windows.h>

#include <atomic>

namespace platform {

namespace {

struct StartRecord
{
    ThreadEntry entry;
    void* argument;
};

// A forced end completes in the system at once; the bound only guards against a system that never says so.
constexpr DWORD kForcedEndWaitMilliseconds = 2000;

DWORD WINAPI ThreadStart(LPVOID raw)
{
    StartRecord record = *static_cast<StartRecord*>(raw);
    delete static_cast<StartRecord*>(raw);
    return record.entry(record.argument);
}

}  // namespace

struct ThreadHandle
{
    HANDLE thread = nullptr;
    StartRecord* start = nullptr;
    std::atomic<bool> resumed{false};
};

ThreadHandle* CreateSuspendedThread(ThreadEntry entry, void* argument, uint32_t* threadId)
{
    ThreadHandle* handle = new ThreadHandle;
    handle->start = new StartRecord{entry, argument};
    DWORD id = 0;
    handle->thread = ::CreateThread(nullptr, 0, ThreadStart, handle->start, CREATE_SUSPENDED, &id);
    if (handle->thread == nullptr) {
        delete handle->start;
        delete handle;
        return nullptr;
    }
    *threadId = id;
    return handle;
}

void ResumeThread(ThreadHandle* handle)
{
    if (!handle->resumed.exchange(true))
        ::ResumeThread(handle->thread);
}

uint32_t GetExitCodeThread(ThreadHandle* handle)
{
    DWORD code = kStillActive;
    if (!::GetExitCodeThread(handle->thread, &code))
        return kStillActive;
    return code;
}

bool WaitForThreadEnd(ThreadHandle* handle, uint32_t milliseconds)
{
    return ::WaitForSingleObject(handle->thread, milliseconds) == WAIT_OBJECT_0;
}

bool TerminateThread(ThreadHandle* handle, uint32_t exitCode)
{
    if (WaitForThreadEnd(handle, 0))
        return true;
    ::TerminateThread(handle->thread, exitCode);
    return WaitForThreadEnd(handle, kForcedEndWaitMilliseconds);
}

void CloseThreadHandle(ThreadHandle* handle)
{
    // A thread that never ran never took its start record over.
    if (!handle->resumed.load() && ::WaitForSingleObject(handle->thread, 0) == WAIT_OBJECT_0)
        delete handle->start;
    ::CloseHandle(handle->thread);
    delete handle;
}

bool SetThreadPriority(ThreadHandle* handle, int priority)
{
    // An ended thread keeps its level, as on every host.
    if (GetExitCodeThread(handle) != kStillActive)
        return false;
    return ::SetThreadPriority(handle->thread, priority) != 0;
}

int GetThreadPriority(ThreadHandle* handle)
{
    return ::GetThreadPriority(handle->thread);
}

void SetThreadPriorityBoost(ThreadHandle* handle, bool disable)
{
    ::SetThreadPriorityBoost(handle->thread, disable ? TRUE : FALSE);
}

uint32_t GetCurrentThreadId()
{
    return ::GetCurrentThreadId();
}

}  // namespace platform
