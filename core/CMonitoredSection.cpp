// CMonitoredSection: the host's recursive mutex, with TryEnter counted in 10 ms steps.
#include "core/CMonitoredSection.h"

#include "platform/clock.h"
#include "platform/sync.h"


static_assert(sizeof(CMonitoredSection) >= platform::kRecursiveMutexSize, "the section stores the host lock");

namespace {
constexpr uint32_t kTryStepMilliseconds = 10;
}

CMonitoredSection::CMonitoredSection()
{
    platform::RecursiveMutexInit(m_CriticalSection);
}

CMonitoredSection::~CMonitoredSection()
{
    platform::RecursiveMutexDestroy(m_CriticalSection);
}

void CMonitoredSection::Enter()
{
    platform::RecursiveMutexLock(m_CriticalSection);
}

bool CMonitoredSection::TryEnter(uint32_t time)
{
    bool entered = platform::RecursiveMutexTryLock(m_CriticalSection);
    // The time is counted down in steps, not measured: a last partial step counts as a whole one.
    int64_t remaining = time;
    while (!entered && remaining > 0) {
        platform::Sleep(kTryStepMilliseconds);
        entered = platform::RecursiveMutexTryLock(m_CriticalSection);
        remaining -= kTryStepMilliseconds;
    }
    return entered;
}

void CMonitoredSection::Leave()
{
    platform::RecursiveMutexUnlock(m_CriticalSection);
}
