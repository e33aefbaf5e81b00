// COsLibrary: dynamic libraries through the host layer, with names made absolute first.
#include "identity/COsLibrary.h"

#include "filesystem/HostNames.h"
#include "platform/dynlib.h"
#include "platform/lasterror.h"

HINSTANCE COsLibrary::LoadLib(const std::string& name)
{
    std::string absolutePath;
    if (filesystem::PrepareName(name, absolutePath) != 0)
        return nullptr;
    return static_cast<HINSTANCE>(platform::OpenLibrary(absolutePath));
}

bool COsLibrary::FreeLib(HINSTANCE library)
{
    if (library == nullptr)
        return true;
    return platform::CloseLibrary(library);
}

COsLibrary::FARPROC COsLibrary::GetProcAddr(HINSTANCE library, const std::string& name)
{
    // Without a library the host would search every library of the process and hand out what a caller
    // never loaded; a name with a NUL would be cut to another name. Neither names a function of a library.
    if (library == nullptr || name.find('\0') != std::string::npos) {
        platform::SetLastError(platform::kErrorProcNotFound);
        return nullptr;
    }
    return reinterpret_cast<FARPROC>(platform::FindSymbol(library, name.c_str()));
}

int32_t COsLibrary::GetErrorNo()
{
    return static_cast<int32_t>(platform::GetLastError());
}
