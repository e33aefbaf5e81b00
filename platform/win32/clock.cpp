// platform/win32/clock.cpp — Sleep and the system's tick counter.
#include "platform/clock.h"

#include <windows.h>

namespace platform {

void Sleep(uint32_t milliseconds)
{
    ::Sleep(milliseconds);
}

uint32_t GetTickCount()
{
    // The 64-bit counter cut to 32 bits wraps exactly as the 32-bit one does.
    return static_cast<uint32_t>(::GetTickCount64());
}

}  // namespace platform
