// platform/posix/lasterror.cpp — the thread-local last-error number.
#include "platform/lasterror.h"

namespace platform {

static thread_local uint32_t t_lastError = 0;

uint32_t GetLastError()
{
    return t_lastError;
}

void SetLastError(uint32_t error)
{
    t_lastError = error;
}

}  // namespace platform
