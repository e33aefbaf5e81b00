// Internal: SectionGuard, which holds a CMonitoredSection for the length of a scope.
#pragma once

#include "core/CMonitoredSection.h"

// Enters the section on construction and leaves it on destruction, so that every path out of the scope,
// an exception or a forced end of the thread among them, leaves it once.
class SectionGuard
{
public:
    explicit SectionGuard(CMonitoredSection& section) : m_section(section) { m_section.Enter(); }
    ~SectionGuard() { m_section.Leave(); }
    SectionGuard(const SectionGuard&) = delete;
    SectionGuard& operator=(const SectionGuard&) = delete;

private:
    CMonitoredSection& m_section;
};
