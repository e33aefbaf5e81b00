// COsThread: starting, watching and ending a host thread, and the resident mode with its gate.
#include "core/COsThread.h"

#include <cstring>
#include <string>

#include "core/SectionGuard.h"
#include "identity/COsGuid.h"
#include "platform/clock.h"
#include "platform/sync.h"
#include "platform/threads.h"

namespace {

constexpr uint32_t kNoCallback = 0x80000000u;
constexpr uint32_t kForcedExitCode = 0xFFFFFFFFu;
constexpr uint32_t kShutDownLimitMilliseconds = 101;
constexpr uint32_t kDestructionWaitMilliseconds = 100;
// A thread whose run is over has only the library's last steps left; the bound is a safeguard, never waited out.
constexpr uint32_t kTailWaitMilliseconds = 1000;

// The operating system priority of each EThreadPriority, in the enumeration's order.
constexpr int kOsPriorities[] = {15, 2, 1, 0, -1, -2, -14, -15};
constexpr int kPriorityCount = sizeof(kOsPriorities) / sizeof(kOsPriorities[0]);

platform::ThreadHandle* AsThread(HANDLE handle)
{
    return static_cast<platform::ThreadHandle*>(handle);
}

}  // namespace

// The link is counted: one reference for the object, one for a host thread that runs on it. The thread takes
// `section` whenever it touches the object outside the callbacks; the object clears `object` under the same
// section when it lets go, so that a thread it could not end finds the object gone instead of freed memory.
struct COsThread::Link
{
    COsThread* object = nullptr;
    CMonitoredSection section;
    platform::Event* gate = nullptr;     // the controller lets the resident worker through
    platform::Event* changed = nullptr;  // the worker passed the gate or left
    std::atomic<bool> left{false};
    std::atomic<int> references{1};

    static Link* Make(COsThread* object)
    {
        Link* link = new (std::nothrow) Link;
        if (link == nullptr)
            return nullptr;
        link->object = object;
        link->gate = platform::NewEvent();
        link->changed = platform::NewEvent();
        if (link->gate == nullptr || link->changed == nullptr) {
            Release(link);
            return nullptr;
        }
        return link;
    }

    static void Release(Link* link)
    {
        if (link->references.fetch_sub(1, std::memory_order_acq_rel) != 1)
            return;
        platform::DeleteEvent(link->gate);
        platform::DeleteEvent(link->changed);
        delete link;
    }
};

namespace {

// Holds a link's section and reads its object under it: null once the owner has let go of the object.
template <class Link>
class ObjectHold
{
public:
    explicit ObjectHold(Link* link) : m_guard(link->section), m_object(link->object) {}
    COsThread* Object() const { return m_object; }

private:
    SectionGuard m_guard;
    COsThread* m_object;
};

}  // namespace

COsThread* COsThread::CreateThread(PFN_THREAD_RUN pfnRun)
{
    return NewOrNull([&] { return new COsThread(pfnRun); });
}

COsThread* COsThread::CreateThread(PFN_THREAD_RUN pfnRun, PFN_THREAD_CLOSE pfnClose)
{
    return NewOrNull([&] { return new COsThread(pfnRun, pfnClose); });
}

COsThread* COsThread::CreateThread(PFN_THREAD_RUN_ARGS pfnRunArgs)
{
    return NewOrNull([&] { return new COsThread(pfnRunArgs); });
}

COsThread* COsThread::CreateThread(PFN_THREAD_RUN_ARGS pfnRunArgs, PFN_THREAD_CLOSE pfnClose)
{
    return NewOrNull([&] { return new COsThread(pfnRunArgs, pfnClose); });
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
    m_nExitCode = 0;
    m_ePriority = PRIORITY_NORMAL;
    m_ppArgs = nullptr;
    m_bHasArgs = false;
    m_bResident = false;
    m_bRunning = false;
    m_nGate = kGateClosed;
    m_pLink = nullptr;
    m_pfnRun = nullptr;
    m_pfnClose = nullptr;
    m_pfnRunArgs = nullptr;
    std::string name = COsGuid::NewGuid();
    std::memcpy(m_szName, name.data(), name.size() < sizeof(m_szName) ? name.size() : sizeof(m_szName));
}

void COsThread::EndBeforeDestruction()
{
    // A resident worker waits at the gate: it is let through to its end before the gate goes.
    if (m_bResident)
        ShutDown();
    Finish(kDestructionWaitMilliseconds);
    ReleaseLink();
}

bool COsThread::Start()
{
    m_bStop = false;
    if (m_bRunning)
        return true;
    if (m_hThread != nullptr) {
        if (!m_bResident)
            return false;  // the earlier run has ended, but Finish has not closed it yet
        return LetWorkerThrough();
    }
    // Each host thread gets a link of its own, so that nothing a thread before it left behind reaches it.
    Link* link = Link::Make(this);
    if (link == nullptr)
        return false;
    link->references = 2;
    uint32_t threadId = 0;
    platform::ThreadHandle* thread = platform::CreateSuspendedThread(&COsThread::ThreadEntry, link, &threadId);
    if (thread == nullptr) {
        Link::Release(link);
        Link::Release(link);
        return false;
    }
    ReleaseLink();
    m_pLink = link;
    m_hThread = thread;
    m_nThreadId = threadId;
    m_nGate = kGateClosed;
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

// Opens the gate for one more run of the resident worker and closes it again once the worker is through.
bool COsThread::LetWorkerThrough()
{
    m_nGate = kGateOpen;
    platform::SignalEvent(m_pLink->gate);
    while (m_nGate != kGatePassed && !m_pLink->left)
        platform::WaitForEvent(m_pLink->changed, platform::kWaitForever);
    m_nGate = kGateClosed;
    return m_hThread != nullptr;
}

uint32_t COsThread::ThreadEntry(void* pLink)
{
    return Serve(static_cast<Link*>(pLink));
}

uint32_t COsThread::ThreadFunction(COsThread* pThread)
{
    if (pThread == nullptr)
        return kNoCallback;
    if (pThread->m_pLink == nullptr && (pThread->m_pLink = Link::Make(pThread)) == nullptr)
        return kNoCallback;
    ++pThread->m_pLink->references;
    return Serve(pThread->m_pLink);
}

uint32_t COsThread::Serve(Link* pLink)
{
    // Whichever way the thread leaves, a forced end's unwinding included, the controller hears of it and the
    // thread's reference goes.
    struct Leaving
    {
        Link* link;
        ~Leaving()
        {
            link->left = true;
            platform::SignalEvent(link->changed);
            Link::Release(link);
        }
    } leaving{pLink};

    COsThread* thread = nullptr;
    uint32_t result = kNoCallback;
    {
        ObjectHold<Link> hold(pLink);
        if ((thread = hold.Object()) == nullptr)
            return result;
        thread->m_bRunning = true;
    }
    for (;;) {
        result = thread->Run();
        {
            ObjectHold<Link> hold(pLink);
            if (hold.Object() == nullptr)
                return result;
            if (thread->m_bHasArgs)
                thread->m_ppArgs = nullptr;  // a run in the argument form uses its argument once
            thread->m_bClosing = true;
            thread->m_nExitCode = result;
        }
        thread->OnClose();
        {
            ObjectHold<Link> hold(pLink);
            if (hold.Object() == nullptr)
                return result;
            thread->m_bClosing = false;
            // From here on the owner may destroy the object; the link tells the thread if it did.
            const bool resident = thread->m_bResident;
            thread->m_bRunning = false;
            if (!resident || thread->m_bStop)
                break;
        }
        platform::WaitForEvent(pLink->gate, platform::kWaitForever);
        {
            ObjectHold<Link> hold(pLink);
            if (hold.Object() == nullptr)
                return result;
            thread->m_bRunning = true;
            thread->m_nGate = kGatePassed;
            platform::SignalEvent(pLink->changed);
            if (thread->m_bStop) {
                thread->m_bRunning = false;
                break;
            }
        }
    }
    // 259 is the host's mark of a thread still active; a thread that returns it ends with 0.
    return result == platform::kStillActive ? 0 : result;
}

uint32_t COsThread::Run()
{
    if (m_bHasArgs) {
        if (m_pfnRunArgs == nullptr) {
            m_ppArgs = nullptr;
            return kNoCallback;
        }
        m_pfnRunArgs(m_ppArgs);  // the thread clears m_ppArgs once the run is over: the object may be gone now
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
    if (!platform::TerminateThread(AsThread(m_hThread), kForcedExitCode))
        ReleaseLink();  // it runs on where no forced end reaches: from now on it leaves this object alone
    // The thread that would clear these is gone; cleared, the object is Idle again and can be started anew.
    m_bClosing = false;
    m_bRunning = false;
}

void COsThread::ReleaseLink()
{
    if (m_pLink == nullptr)
        return;
    {
        SectionGuard hold(m_pLink->section);
        m_pLink->object = nullptr;
    }
    Link::Release(m_pLink);
    m_pLink = nullptr;
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
    if (m_hThread != nullptr) {
        platform::ThreadHandle* thread = AsThread(m_hThread);
        if (IsRunning()) {
            // The forced end comes once more than `time` has passed; the largest time waits without limit.
            const uint32_t limit = time >= platform::kWaitForever - 1 ? platform::kWaitForever : time + 1;
            if (!platform::WaitForThreadEnd(thread, limit)) {
                ForceEnd();
                CloseThreadHandle();
                return false;
            }
        } else {
            // The run is over and the thread has only its last steps left: waiting for them lets the handle
            // join the thread, so that it is gone from the process when Finish returns.
            platform::WaitForThreadEnd(thread, kTailWaitMilliseconds);
        }
    }
    CloseThreadHandle();
    return true;
}

void COsThread::ShutDown()
{
    if (!m_bResident)
        return;
    if (m_hThread != nullptr) {
        // The worker may be in a run or waiting at the gate; either way it sees m_bStop and ends, and the
        // wait is for the thread's end, so the gate is never destroyed under a waiting worker.
        m_bStop = true;
        platform::SignalEvent(m_pLink->gate);
        if (!platform::WaitForThreadEnd(AsThread(m_hThread), kShutDownLimitMilliseconds))
            ForceEnd();
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
