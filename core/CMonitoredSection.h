// CMonitoredSection: a recursive lock with a polled, step-counted TryEnter.
#pragma once

#include <cstdint>

#include "Types.h"

class VELTRANE_API CMonitoredSection
{
public:
    CMonitoredSection();
    ~CMonitoredSection();

    // Waits without limit. The thread inside may enter again and leaves as often as it entered.
    void Enter();
    // One attempt, then one more every 10 ms, counting `time` down by 10 per sleep (no clock is read).
    bool TryEnter(uint32_t time);
    void Leave();

    // A live lock cannot be copied: assigning one section to another is refused at compile time.
    CMonitoredSection& operator=(const CMonitoredSection&) = delete;

private:
    CMonitoredSection(const CMonitoredSection&);

    // The host's recursive lock lives in these bytes, with its owner and depth.
    alignas(8) unsigned char m_CriticalSection[64];
};
