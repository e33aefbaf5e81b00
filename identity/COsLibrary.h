// COsLibrary: loading dynamic libraries by UTF-8 name and finding functions in them.
#pragma once

#include <cstdint>
#include <string>

#include "../core/Types.h"
#include "../core/WindowsTypes.h"

class VELTRANE_API COsLibrary
{
public:
    // The function type that GetProcAddr hands out; the caller casts it to the function's real type.
    typedef int64_t (*FARPROC)();

    // Loads a library; a relative name is taken from the library directory, never from the host's
    // search path. Null on failure (last error 126 when the host could not load it); a name the host
    // cannot be given (not UTF-8, or holding a NUL byte) gives null without a last error.
    static HINSTANCE LoadLib(const std::string& name);

    // Releases one load of the library; null gives true and does nothing.
    static bool FreeLib(HINSTANCE library);

    // The function of that name in that library, its bytes taken as they are; null (last error 127)
    // when it is missing, for a null library and for a name holding a NUL byte.
    static FARPROC GetProcAddr(HINSTANCE library, const std::string& name);

    // The calling thread's last error number.
    static int32_t GetErrorNo();

private:
    COsLibrary() {}
    ~COsLibrary() {}
};
