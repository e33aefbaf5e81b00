// The interface's Windows records with the system's header included after <Veltrane.h> (on Windows).
#include <cstddef>

#include <Veltrane.h>

#ifdef _WIN32
#include <winsock2.h>
#include <windows.h>
#endif

bool RecordsAgreeWithSystemHeaderIncludedAfter()
{
    FILETIME time{};
    time.dwHighDateTime = 1;
    SYSTEMTIME calendar{};
    calendar.wYear = 2026;
    return sizeof(FILETIME) == 8 && offsetof(WIN32_FIND_DATAW, ftLastWriteTime) == 20 && INVALID_SOCKET == ~SOCKET(0) &&
           time.dwLowDateTime == 0 && calendar.wMonth == 0 && sizeof(calendar) == 16;
}
