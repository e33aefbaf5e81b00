// COsThread: a thread object that runs a callback, optionally with an argument and a close callback.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>

#include "CMonitoredSection.h"
#include "Types.h"
#include "WindowsTypes.h"

// Thread priorities from highest to lowest. The type is an int, so that any level a caller passes, one above
// PRIORITY_IDLE included, is a value that the library can read and map.
enum EThreadPriority : int
{
    PRIORITY_TIME_CRITICAL = 0,
    PRIORITY_HIGHEST = 1,
    PRIORITY_ABOVE_NORMAL = 2,
    PRIORITY_NORMAL = 3,
    PRIORITY_BELOW_NORMAL = 4,
    PRIORITY_LOWEST = 5,
    PRIORITY_LOWEST_EXTENDED = 6,
    PRIORITY_IDLE = 7,
};

typedef void (*PFN_THREAD_RUN)();
typedef void (*PFN_THREAD_CLOSE)();
typedef void (*PFN_THREAD_RUN_ARGS)(void** ppArgs);

class VELTRANE_API COsThread
{
public:
    // A new thread object, not started; null only if memory ran out.
    static COsThread* CreateThread(PFN_THREAD_RUN pfnRun);
    static COsThread* CreateThread(PFN_THREAD_RUN pfnRun, PFN_THREAD_CLOSE pfnClose);
    static COsThread* CreateThread(PFN_THREAD_RUN_ARGS pfnRunArgs);
    static COsThread* CreateThread(PFN_THREAD_RUN_ARGS pfnRunArgs, PFN_THREAD_CLOSE pfnClose);
    // Destroys *ppThread through the virtual destructor and sets it to null; null does nothing. A run still
    // under way gets 100 ms to end and is then ended by force: call Finish first to wait for it.
    static void FreeThread(COsThread** ppThread);
    static void Sleep(uint32_t milliseconds);
    static int64_t GetCurrentThreadId();

    // True when a run is under way or a new one was started.
    bool Start();
    // Stores the argument of the next run, then starts. The pointer is handed to the run as it is, not
    // copied: what it points to must stay valid until the run has ended.
    bool Start(void** ppArgs);
    // Waits up to `time` ms for the run to end, then ends it by force; true when it ended by itself. Better
    // tell a long run to stop (a flag it reads) than rely on the forced end.
    // Host notes: on Linux the forced end takes effect only where the run waits (a sleep, a read, a socket
    // wait), so a run that computes without waiting goes on; on Windows it stops the thread at once.
    bool Finish(uint32_t time);
    bool IsRunning();
    uint64_t GetExitCode();
    void SetPriority(EThreadPriority ePriority);
    EThreadPriority GetPriority();

    // A thread object owns a live thread and a live lock: it is never copied.
    COsThread(const COsThread&) = delete;
    COsThread& operator=(const COsThread&) = delete;

    virtual ~COsThread();

protected:
    COsThread();
    explicit COsThread(PFN_THREAD_RUN pfnRun);
    explicit COsThread(PFN_THREAD_RUN_ARGS pfnRunArgs);
    COsThread(PFN_THREAD_RUN pfnRun, PFN_THREAD_CLOSE pfnClose);
    COsThread(PFN_THREAD_RUN_ARGS pfnRunArgs, PFN_THREAD_CLOSE pfnClose);

    void Init();
    void Enter();
    // One attempt, then one more every 1 ms, at most `time` more attempts.
    bool TryEnter(uint32_t time);
    void Leave();
    // Ends a resident worker; does nothing on any other object.
    void ShutDown();
    // What a destructor does before the object's parts go: ends a resident worker, then Finish(100). A subclass
    // that overrides Run or OnClose calls it from its own destructor, so the thread never runs into a
    // half-destroyed object.
    void EndBeforeDestruction();

    virtual void OnClose();
    virtual uint32_t Run();

    static uint32_t ThreadFunction(COsThread* pThread);
    static int ExceptionFilter(COsThread* pThread, _EXCEPTION_POINTERS* pExceptionPointers);

    // What a factory gives: the object that `make` allocates with new, or null when memory ran out.
    template <class Make>
    static auto NewOrNull(Make make) noexcept -> decltype(make())
    {
        try {
            return make();
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }

    uint32_t m_nThreadId;
    HANDLE m_hThread;
    CMonitoredSection m_Section;
    _EXCEPTION_POINTERS* m_pExceptionPointers;
    // Flags polled by the controlling thread and the worker alike, hence atomic.
    std::atomic<bool> m_bClosing;
    std::atomic<bool> m_bStop;
    char m_szName[80];
    std::atomic<uint64_t> m_nExitCode;
    EThreadPriority m_ePriority;
    void** m_ppArgs;
    bool m_bHasArgs;
    std::atomic<bool> m_bResident;
    std::atomic<bool> m_bRunning;
    PFN_THREAD_RUN m_pfnRun;
    PFN_THREAD_CLOSE m_pfnClose;
    PFN_THREAD_RUN_ARGS m_pfnRunArgs;

private:
    // The hand-over at the resident gate: the controller opens it, the worker marks that it passed, the
    // controller closes it again. A run too quick to be seen by polling m_bRunning is still seen, and it
    // cannot slip through a second time before the gate closes.
    enum { kGateClosed, kGateOpen, kGatePassed };
    std::atomic<int> m_nGate;
    // What this object shares with its present host thread: the events of the gate and the lock under which
    // the thread touches the object. It outlives whichever of the two lets go first.
    struct Link;
    Link* m_pLink;

    static int Prio2MSPrio(EThreadPriority ePriority);
    static EThreadPriority MSPrio2Prio(int nPriority);

    static uint32_t ThreadEntry(void* pLink);
    // The host thread's work: the runs, the close calls and the resident loop, touching the object only while
    // the link says that it is still there.
    static uint32_t Serve(Link* pLink);
    bool LetWorkerThrough();
    void ForceEnd();
    // Lets go of the link; a thread that still runs on it no longer touches this object.
    void ReleaseLink();
    void CloseThreadHandle();
};
