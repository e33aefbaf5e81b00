// platform/win32/dynlib.cpp — LoadLibraryExW, GetProcAddress, and the module that holds this code.
// A library named by its full path is loaded with the altered search path, so that the libraries it
// depends on are found beside it, as the dynamic loader of the other host does with its own rules.
#include "platform/dynlib.h"

#include <windows.h>

#include "platform/lasterror.h"
#include "platform/win32/SystemText.h"

namespace platform {

std::string LibraryFilePath()
{
    HMODULE module = nullptr;
    if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              reinterpret_cast<LPCWSTR>(&LibraryFilePath), &module))
        return std::string();
    return win32::ModuleFilePath(module);
}

void* OpenLibrary(const std::string& path)
{
    // The altered search path takes the directory from a name written with backslashes only.
    std::wstring wide = win32::Widen(path);
    for (wchar_t& unit : wide) {
        if (unit == L'/')
            unit = L'\\';
    }
    HMODULE library = wide.empty() ? nullptr : ::LoadLibraryExW(wide.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (library == nullptr)
        SetLastError(kErrorModuleNotFound);
    return reinterpret_cast<void*>(library);
}

// True when `module` is the start of a module loaded now: a module released already is not read again.
bool IsLoadedModule(HMODULE module)
{
    HMODULE found = nullptr;
    return ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                reinterpret_cast<LPCWSTR>(module), &found) &&
           found == module;
}

void* FindSymbol(void* library, const char* name)
{
    // A null library means the process's own program, as the other host's global scope does.
    HMODULE module = library != nullptr ? static_cast<HMODULE>(library) : ::GetModuleHandleW(nullptr);
    FARPROC symbol = IsLoadedModule(module) ? ::GetProcAddress(module, name) : nullptr;
    if (symbol == nullptr) {
        SetLastError(kErrorProcNotFound);
        return nullptr;
    }
    return reinterpret_cast<void*>(symbol);
}

bool CloseLibrary(void* library)
{
    if (!::FreeLibrary(static_cast<HMODULE>(library))) {
        SetLastError(kErrorModuleNotFound);
        return false;
    }
    return true;
}

}  // namespace platform
