// COsThread: starting, watching and ending a host thread, and the resident mode with its gate.
#include "core/COsThread.h"

#include <cstring>
#include <string>

#include "identity/COsGuid.h"
#include "platform/clock.h"
#include "platform/threads.h"

namespace {

constexpr uint32_t kNoCallback = 0x80000000u;
constexpr uint32_t kForcedExitCode = 0xFFFFFFFFu;
constexpr uint32_t kPollMilliseconds = 10;
constexpr uint32_t kShutDownLimitMilliseconds = 101;
constexpr uint32_t kDestructionWaitMilliseconds = 100;

// The operating system priority of each EThreadPriority, in the enumeration's order.
constexpr int kOsPriorities[] = {15, 2, 1, 0, -1, -2, -14, -15};
constexpr int kPriorityCount = sizeof(kOsPriorities) / sizeof(kOsPriorities[0]);

platform::ThreadHandle* AsThread(HANDLE handle)
{
    return static_cast<platform::ThreadHandle*>(handle);
}

}  // namespace

COsThread* COsThread::CreateThread(PFN_THREAD_RUN pfnRun)
{
    return new COsThread(pfnRun);
}

COsThread* COsThread::CreateThread(PFN_THREAD_RUN pfnRun, PFN_THREAD_CLOSE pfnClose)
{
    return new COsThread(pfnRun, pfnClose);
}

COsThread* COsThread::CreateThread(PFN_THREAD_RUN_ARGS pfnRunArgs)
{
    return new COsThread(pfnRunArgs);
}

COsThread* COsThread::CreateThread(PFN_THREAD_RUN_ARGS pfnRunArgs, PFN_THREAD_CLOSE pfnClose)
{
    return new COsThread(pfnRunArgs, pfnClose);
}

void COsThread::FreeThread(COsThread** ppThread)
{
    if (ppThread == nullptr || *ppThread == nullptr)
        return;
    delete *ppThread;
    *ppThread = nullptr;
}

void COsThread::Sleep(uint32_t milliseconds)
{
    platform::Sleep(milliseconds);
}

int64_t COsThread::GetCurrentThreadId()
{
    return static_cast<int64_t>(platform::GetCurrentThreadId());
}

COsThread::COsThread()
{
    Init();
}

COsThread::COsThread(PFN_THREAD_RUN pfnRun)
{
    Init();
    m_pfnRun = pfnRun;
}

COsThread::COsThread(PFN_THREAD_RUN_ARGS pfnRunArgs)
{
    Init();
    m_pfnRunArgs = pfnRunArgs;
    m_bHasArgs = true;
}

COsThread::COsThread(PFN_THREAD_RUN pfnRun, PFN_THREAD_CLOSE pfnClose)
{
    Init();
    m_pfnRun = pfnRun;
    m_pfnClose = pfnClose;
}

COsThread::COsThread(PFN_THREAD_RUN_ARGS pfnRunArgs, PFN_THREAD_CLOSE pfnClose)
{
    Init();
    m_pfnRunArgs = pfnRunArgs;
    m_pfnClose = pfnClose;
    m_bHasArgs = true;
}

COsThread::~COsThread()
{
    EndBeforeDestruction();
}

void COsThread::Init()
{
    // m_Section is made by its own constructor before this runs.
    m_nThreadId = 0;
    m_hThread = nullptr;
    m_pExceptionPointers = nullptr;
    m_bClosing = false;
    m_bStop = false;
    std::memset(m_szName, 0, sizeof(m_szName));
    std::string name = COsGuid::NewGuid();
    std::memcpy(m_szName, name.data(), name.size() < sizeof(m_szName) ? name.size() : sizeof(m_szName));
    m_nExitCode = 0;
    m_ePriority = PRIORITY_NORMAL;
    m_ppArgs = nullptr;
    m_bHasArgs = false;
    m_bResident = false;
    m_bRunning = false;
    m_nGate = kGateClosed;
    m_pfnRun = nullptr;
    m_pfnClose = nullptr;
    m_pfnRunArgs = nullptr;
}

void COsThread::EndBeforeDestruction()
{
    // A resident worker waits at the gate of m_Section: it is let through to its end before the gate goes.
    if (m_bResident)
        ShutDown();
    Finish(kDestructionWaitMilliseconds);
}

bool COsThread::Start()
{
    m_bStop = false;
    if (m_bRunning)
        return true;
    if (m_hThread != nullptr) {
        if (!m_bResident)
            return false;  // the earlier run has ended, but Finish has not closed it yet
        // Open the gate for one more run and close it again once the worker is through.
        m_nGate = kGateOpen;
        Leave();
        while (m_nGate != kGatePassed && !ThreadHasEnded())
            platform::Sleep(1);
        Enter();
        m_nGate = kGateClosed;
        return m_hThread != nullptr;
    }
    uint32_t threadId = 0;
    platform::ThreadHandle* thread = platform::CreateSuspendedThread(&COsThread::ThreadEntry, this, &threadId);
    if (thread == nullptr)
        return false;
    m_hThread = thread;
    m_nThreadId = threadId;
    if (m_bResident) {
        Enter();
        m_nGate = kGateClosed;
    }
    m_bRunning = true;
    SetPriority(m_ePriority);
    platform::SetThreadPriorityBoost(thread, true);
    platform::ResumeThread(thread);
    return true;
}

bool COsThread::Start(void** ppArgs)
{
    m_ppArgs = ppArgs;
    return Start();
}

uint32_t COsThread::ThreadEntry(void* pThread)
{
    return ThreadFunction(static_cast<COsThread*>(pThread));
}

uint32_t COsThread::RunOnce()
{
    m_bRunning = true;
    uint32_t result = Run();
    m_bClosing = true;
    m_nExitCode = result;
    OnClose();
    m_bClosing = false;
    return result;
}

uint32_t COsThread::ThreadFunction(COsThread* pThread)
{
    if (pThread == nullptr)
        return kNoCallback;
    uint32_t result = pThread->RunOnce();
    // Read before m_bRunning is cleared: from then on the owner may destroy the object.
    bool resident = pThread->m_bResident;
    pThread->m_bRunning = false;
    while (resident) {
        pThread->WaitUntilGateClosed();
        if (pThread->m_bStop)
            break;
        pThread->m_Section.Enter();  // waits until the controlling thread opens the gate
        pThread->m_bRunning = true;
        pThread->m_nGate = kGatePassed;
        pThread->m_Section.Leave();
        if (pThread->m_bStop) {
            pThread->m_bRunning = false;
            break;
        }
        result = pThread->RunOnce();
        resident = pThread->m_bResident;
        pThread->m_bRunning = false;
    }
    // 259 is the host's mark of a thread still active; a thread that returns it ends with 0.
    return result == platform::kStillActive ? 0 : result;
}

void COsThread::WaitUntilGateClosed()
{
    while (m_nGate != kGateClosed && !m_bStop)
        platform::Sleep(1);
}

uint32_t COsThread::Run()
{
    if (m_bHasArgs) {
        if (m_pfnRunArgs == nullptr) {
            m_ppArgs = nullptr;
            return kNoCallback;
        }
        m_pfnRunArgs(m_ppArgs);
        m_ppArgs = nullptr;
        return 0;
    }
    if (m_pfnRun == nullptr)
        return kNoCallback;
    m_pfnRun();
    return 0;
}

void COsThread::OnClose()
{
    if (m_pfnClose != nullptr)
        m_pfnClose();
}

bool COsThread::ThreadHasEnded()
{
    return m_hThread == nullptr || platform::GetExitCodeThread(AsThread(m_hThread)) != platform::kStillActive;
}

bool COsThread::IsRunning()
{
    if (!m_bRunning)
        return false;
    if (m_bResident)
        return true;
    if (m_hThread == nullptr)
        return false;
    return platform::GetExitCodeThread(AsThread(m_hThread)) == platform::kStillActive;
}

uint64_t COsThread::GetExitCode()
{
    return m_nExitCode;
}

void COsThread::ForceEnd()
{
    platform::TerminateThread(AsThread(m_hThread), kForcedExitCode);
    // The thread that would clear these is gone; cleared, the object is Idle again and can be started anew.
    m_bClosing = false;
    m_bRunning = false;
}

void COsThread::CloseThreadHandle()
{
    if (m_hThread == nullptr)
        return;
    platform::CloseThreadHandle(AsThread(m_hThread));
    m_hThread = nullptr;
}

bool COsThread::Finish(uint32_t time)
{
    if (m_bResident)
        return false;
    uint32_t startTime = platform::GetTickCount();
    if (m_hThread != nullptr && IsRunning()) {
        platform::Sleep(1);
        while (m_bRunning) {
            if (ThreadHasEnded())
                break;
            platform::Sleep(kPollMilliseconds);
            if (platform::GetTickCount() - startTime > time) {
                ForceEnd();
                CloseThreadHandle();
                return false;
            }
        }
    }
    CloseThreadHandle();
    return true;
}

void COsThread::ShutDown()
{
    if (!m_bResident)
        return;
    uint32_t startTime = platform::GetTickCount();
    if (m_hThread != nullptr) {
        // The worker may be in a run or waiting at the gate; either way it sees m_bStop and ends, and the
        // wait is for the thread's end, so the gate is never destroyed under a waiting worker.
        m_bStop = true;
        Leave();
        platform::Sleep(1);
        while (!ThreadHasEnded()) {
            platform::Sleep(kPollMilliseconds);
            if (platform::GetTickCount() - startTime >= kShutDownLimitMilliseconds) {
                ForceEnd();
                break;
            }
        }
    }
    CloseThreadHandle();
}

void COsThread::SetPriority(EThreadPriority ePriority)
{
    if (m_hThread != nullptr)
        platform::SetThreadPriority(AsThread(m_hThread), Prio2MSPrio(ePriority));
    m_ePriority = ePriority;
}

EThreadPriority COsThread::GetPriority()
{
    if (m_hThread != nullptr)
        m_ePriority = MSPrio2Prio(platform::GetThreadPriority(AsThread(m_hThread)));
    return m_ePriority;
}

int COsThread::Prio2MSPrio(EThreadPriority ePriority)
{
    int index = static_cast<int>(ePriority);
    return index >= 0 && index < kPriorityCount ? kOsPriorities[index] : 0;
}

EThreadPriority COsThread::MSPrio2Prio(int nPriority)
{
    for (int index = 0; index < kPriorityCount; ++index) {
        if (kOsPriorities[index] == nPriority)
            return static_cast<EThreadPriority>(index);
    }
    return PRIORITY_NORMAL;
}

void COsThread::Enter()
{
    m_Section.Enter();
}

bool COsThread::TryEnter(uint32_t time)
{
    bool entered = m_Section.TryEnter(0);
    for (uint32_t attempt = 0; !entered && attempt < time; ++attempt) {
        platform::Sleep(1);
        entered = m_Section.TryEnter(0);
    }
    return entered;
}

void COsThread::Leave()
{
    m_Section.Leave();
}

int COsThread::ExceptionFilter(COsThread* pThread, _EXCEPTION_POINTERS* pExceptionPointers)
{
    pThread->m_pExceptionPointers = pExceptionPointers;
    return 1;
}
