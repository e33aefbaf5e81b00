// platform/posix/threads.cpp — threads as POSIX threads, the forced end as cancellation.
// A cancelled thread unwinds with a forced exception, so the end of a thread is recorded by a destructor:
// it runs on a normal return and on a forced end alike, and it is the one place that releases the handle.
#include "platform/threads.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "platform/sync.h"

namespace platform {

struct ThreadHandle
{
    pthread_t thread{};
    ThreadEntry entry = nullptr;
    void* argument = nullptr;
    std::atomic<uint32_t> exitCode{kStillActive};
    std::atomic<uint32_t> forcedExitCode{0xFFFFFFFFu};
    // Signalled once, when the exit code has been recorded.
    Event* ended = nullptr;
    // One reference for the thread, one for the holder of the handle; the last one out deletes.
    std::atomic<int> references{2};

    pthread_mutex_t startLock = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t startChanged = PTHREAD_COND_INITIALIZER;
    bool idKnown = false;
    bool resumed = false;
    uint32_t threadId = 0;
    // The thread's level on the Windows scale as last read from the kernel, which is what it keeps once it has
    // ended: the kernel's number of an ended thread may already name another thread.
    std::atomic<int> level{kThreadPriorityErrorReturn};
};

namespace {

// A forced end normally unwinds in microseconds; the bound only keeps a thread that never reaches a
// cancellation point from holding its killer forever.
constexpr uint32_t kForcedEndWaitMilliseconds = 2000;

struct PriorityLevel
{
    int priority;
    int nice;
};

constexpr PriorityLevel kPriorityLevels[] = {
    {15, -20}, {2, -10}, {1, -5}, {0, 0}, {-1, 5}, {-2, 10}, {-14, 15}, {-15, 19},
};

void Release(ThreadHandle* handle)
{
    if (handle->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        pthread_mutex_destroy(&handle->startLock);
        pthread_cond_destroy(&handle->startChanged);
        DeleteEvent(handle->ended);
        delete handle;
    }
}

// Records the thread's exit code when the entry returns or the thread is unwound by cancellation.
class EndOfThread
{
public:
    explicit EndOfThread(ThreadHandle* handle) : m_handle(handle) {}
    ~EndOfThread()
    {
        m_handle->exitCode.store(m_returned ? m_code : m_handle->forcedExitCode.load(), std::memory_order_release);
        SignalEvent(m_handle->ended);
        Release(m_handle);
    }
    void Returned(uint32_t code)
    {
        m_code = code;
        m_returned = true;
    }

private:
    ThreadHandle* m_handle;
    uint32_t m_code = 0;
    bool m_returned = false;
};

void WaitUntilResumed(ThreadHandle* handle)
{
    // No cancellation while suspended: the condition wait must not unwind with the start lock held.
    int previousState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previousState);
    pthread_mutex_lock(&handle->startLock);
    handle->threadId = static_cast<uint32_t>(syscall(SYS_gettid));
    handle->idKnown = true;
    pthread_cond_broadcast(&handle->startChanged);
    while (!handle->resumed)
        pthread_cond_wait(&handle->startChanged, &handle->startLock);
    pthread_mutex_unlock(&handle->startLock);
    pthread_setcancelstate(previousState, nullptr);
}

extern "C" void* ThreadStart(void* raw)
{
    ThreadHandle* handle = static_cast<ThreadHandle*>(raw);
    WaitUntilResumed(handle);
    EndOfThread end(handle);
    end.Returned(handle->entry(handle->argument));
    return nullptr;
}

bool HasEnded(ThreadHandle* handle)
{
    return GetExitCodeThread(handle) != kStillActive;
}

// Reads the level of a thread that still runs from the kernel and remembers it; an ended thread, or one whose
// level the kernel cannot tell, gives the level remembered last.
int ReadLevel(ThreadHandle* handle)
{
    if (HasEnded(handle))
        return handle->level.load();
    // -1 is a valid nice value, so only errno tells a failure apart.
    errno = 0;
    int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(handle->threadId));
    if (nice == -1 && errno != 0)
        return handle->level.load();
    int found = kThreadPriorityErrorReturn;
    for (const PriorityLevel& level : kPriorityLevels) {
        if (level.nice == nice)
            found = level.priority;
    }
    handle->level.store(found);
    return found;
}

}  // namespace

ThreadHandle* CreateSuspendedThread(ThreadEntry entry, void* argument, uint32_t* threadId)
{
    ThreadHandle* handle = new (std::nothrow) ThreadHandle;
    if (handle == nullptr)
        return nullptr;
    handle->entry = entry;
    handle->argument = argument;
    handle->ended = NewEvent();
    if (handle->ended == nullptr || pthread_create(&handle->thread, nullptr, ThreadStart, handle) != 0) {
        DeleteEvent(handle->ended);
        delete handle;
        return nullptr;
    }
    // The id is the new thread's own kernel id, which only that thread can read.
    pthread_mutex_lock(&handle->startLock);
    while (!handle->idKnown)
        pthread_cond_wait(&handle->startChanged, &handle->startLock);
    *threadId = handle->threadId;
    pthread_mutex_unlock(&handle->startLock);
    ReadLevel(handle);  // inherited from this thread
    return handle;
}

void ResumeThread(ThreadHandle* handle)
{
    pthread_mutex_lock(&handle->startLock);
    handle->resumed = true;
    pthread_cond_broadcast(&handle->startChanged);
    pthread_mutex_unlock(&handle->startLock);
}

uint32_t GetExitCodeThread(ThreadHandle* handle)
{
    return handle->exitCode.load(std::memory_order_acquire);
}

bool WaitForThreadEnd(ThreadHandle* handle, uint32_t milliseconds)
{
    // The thread signals once, after recording its exit code: a wait after that one finds the code.
    return GetExitCodeThread(handle) != kStillActive || WaitForEvent(handle->ended, milliseconds) ||
           GetExitCodeThread(handle) != kStillActive;
}

bool TerminateThread(ThreadHandle* handle, uint32_t exitCode)
{
    if (GetExitCodeThread(handle) != kStillActive)
        return true;
    handle->forcedExitCode.store(exitCode);
    pthread_cancel(handle->thread);
    return WaitForThreadEnd(handle, kForcedEndWaitMilliseconds);
}

void CloseThreadHandle(ThreadHandle* handle)
{
    // A thread that has ended is joined, so that it is gone from the process when the handle is; one that
    // still runs is detached and cleans up after itself.
    if (GetExitCodeThread(handle) != kStillActive)
        pthread_join(handle->thread, nullptr);
    else
        pthread_detach(handle->thread);
    Release(handle);
}

bool SetThreadPriority(ThreadHandle* handle, int priority)
{
    for (const PriorityLevel& level : kPriorityLevels) {
        if (level.priority != priority)
            continue;
        // An ended thread keeps its level: its number is not looked at again.
        if (HasEnded(handle))
            return false;
        bool set = setpriority(PRIO_PROCESS, static_cast<id_t>(handle->threadId), level.nice) == 0;
        ReadLevel(handle);
        return set;
    }
    return false;
}

int GetThreadPriority(ThreadHandle* handle)
{
    return ReadLevel(handle);
}

void SetThreadPriorityBoost(ThreadHandle*, bool)
{
    // The Linux scheduler has no per-thread dynamic boost to switch off.
}

uint32_t GetCurrentThreadId()
{
    return static_cast<uint32_t>(syscall(SYS_gettid));
}

}  // namespace platform
