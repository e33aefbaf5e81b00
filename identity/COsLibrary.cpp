// COsLibrary: dynamic libraries through the host layer, with names made absolute first.
#include "identity/COsLibrary.h"

#include "filesystem/COsDirectory.h"
#include "platform/dynlib.h"
#include "platform/lasterror.h"

HINSTANCE COsLibrary::LoadLib(const std::string& name)
{
    std::string absolutePath;
    if (COsDirectory::GetAbsolutePath(name, absolutePath) < 0)
        return nullptr;
    return platform::OpenLibrary(absolutePath);
}

bool COsLibrary::FreeLib(HINSTANCE library)
{
    if (library == nullptr)
        return true;
    return platform::CloseLibrary(library);
}

COsLibrary::FARPROC COsLibrary::GetProcAddr(HINSTANCE library, const std::string& name)
{
    return reinterpret_cast<FARPROC>(platform::FindSymbol(library, name.c_str()));
}

int32_t COsLibrary::GetErrorNo()
{
    return static_cast<int32_t>(platform::GetLastError());
}
