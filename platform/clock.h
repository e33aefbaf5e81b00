// Time services: sleeping and the millisecond tick counter.
#pragma once

#include <cstdint>

namespace platform {

// Suspends the calling thread for `milliseconds` (0 yields the processor).
void Sleep(uint32_t milliseconds);
// Milliseconds since an unspecified start, wrapping at 2^32 like a Windows tick count.
// Host notes: POSIX reads CLOCK_MONOTONIC, so a change of the wall clock never moves it.
uint32_t GetTickCount();

}  // namespace platform
