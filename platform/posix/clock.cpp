// platform/posix/clock.cpp — sleeping and the tick counter on the monotonic clock.
#include "platform/clock.h"

#include <errno.h>
#include <sched.h>
#include <time.h>

namespace platform {

void Sleep(uint32_t milliseconds)
{
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    timespec remaining{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
    while (nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
    }
}

uint32_t GetTickCount()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    uint64_t milliseconds = static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_nsec) / 1000000u;
    return static_cast<uint32_t>(milliseconds);
}

}  // namespace platform
