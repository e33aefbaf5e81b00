// platform/win32/memory.cpp — no hint: Windows gives large pages only to a process holding the lock-pages
// privilege, and only to memory allocated as such, never to a buffer that new[] already made.
#include "platform/memory.h"

namespace platform {

void PrepareLargeWrite(void*, size_t)
{
}

}  // namespace platform
