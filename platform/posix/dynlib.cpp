// platform/posix/dynlib.cpp — dlopen, dlsym and dladdr.
// dlsym may legitimately return null, so a failure is told by dlerror(): it is cleared first, or a
// stale message from an earlier call elsewhere would be read as this one's.
#include "platform/dynlib.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "platform/lasterror.h"

namespace platform {

std::string LibraryFilePath()
{
    Dl_info information;
    if (::dladdr(reinterpret_cast<void*>(&LibraryFilePath), &information) == 0 || information.dli_fname == nullptr)
        return std::string();
    // A library found through a relative search path is named relatively; callers build absolute paths on it.
    char resolved[PATH_MAX];
    if (information.dli_fname[0] != '/' && ::realpath(information.dli_fname, resolved) != nullptr)
        return resolved;
    return information.dli_fname;
}

void* OpenLibrary(const std::string& path)
{
    // The loader reads whatever it opens: on a FIFO it would wait for a writer that may never come, on a
    // device it would read without end. Only a regular file (or a link to one) is offered to it.
    struct stat status;
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        SetLastError(kErrorModuleNotFound);
        return nullptr;
    }
    // A name without a "/" would be looked for on the loader's search path; "./" makes it the file that the
    // kernel reads under that name, as for every other name the library is given.
    const std::string name = path.find('/') == std::string::npos ? "./" + path : path;
    void* library = ::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        SetLastError(kErrorModuleNotFound);
    return library;
}

void* FindSymbol(void* library, const char* name)
{
    ::dlerror();
    void* symbol = ::dlsym(library, name);
    if (::dlerror() != nullptr) {
        SetLastError(kErrorProcNotFound);
        return nullptr;
    }
    if (symbol == nullptr)
        SetLastError(kErrorProcNotFound);
    return symbol;
}

bool CloseLibrary(void* library)
{
    if (::dlclose(library) != 0) {
        SetLastError(kErrorModuleNotFound);
        return false;
    }
    return true;
}

}  // namespace platform
