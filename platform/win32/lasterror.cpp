// platform/win32/lasterror.cpp — the library's last error is the system's own, so a client reads it
// with GetLastError as it would after any system call.
#include "platform/lasterror.h"

#include <windows.h>

namespace platform {

uint32_t GetLastError()
{
    return ::GetLastError();
}

void SetLastError(uint32_t error)
{
    ::SetLastError(error);
}

}  // namespace platform
