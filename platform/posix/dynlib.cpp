// platform/posix/dynlib.cpp — dlopen, dlsym and dladdr, and the process's map for the library's own file.
// dlsym may legitimately return null, so a failure is told by dlerror(): it is cleared first, or a
// stale message from an earlier call elsewhere would be read as this one's.
#include "platform/dynlib.h"

#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "platform/lasterror.h"

namespace platform {

namespace {

// The kernel's absolute name of the file mapped at `address`, from the process's map; "" when no file is.
// Each line is "start-end perms offset device inode name": the name is the rest of the line from its "/".
std::string MappedFileName(const void* address)
{
    std::ifstream maps("/proc/self/maps");
    const uintptr_t wanted = reinterpret_cast<uintptr_t>(address);
    std::string line;
    while (std::getline(maps, line)) {
        char* end = nullptr;
        const unsigned long long start = std::strtoull(line.c_str(), &end, 16);
        if (*end != '-')
            continue;
        const unsigned long long stop = std::strtoull(end + 1, &end, 16);
        if (wanted < start || wanted >= stop)
            continue;
        const size_t name = line.find('/');
        return name == std::string::npos ? std::string() : line.substr(name);
    }
    return std::string();
}

// True when `library` is the handle of an object loaded now. dlclose and dlsym read the loader's record
// behind a handle without checking it, so a handle released already (a second FreeLib) or never handed
// out would have them read freed or foreign memory, and release or search whatever they found there. A
// handle is the loader's record of the object; the records are walked while dl_iterate_phdr holds the
// loader's lock, so no dlopen or dlclose of another thread changes them meanwhile.
bool IsLoadedLibrary(void* library)
{
    struct Search {
        const void* library;
        bool found;
    } search{library, false};
    ::dl_iterate_phdr(
        [](dl_phdr_info*, size_t, void* data) -> int {
            auto* search = static_cast<Search*>(data);
            for (const link_map* map = _r_debug.r_map; map != nullptr; map = map->l_next) {
                if (map == search->library) {
                    search->found = true;
                    break;
                }
            }
            return 1;  // one look at the whole list is enough
        },
        &search);
    return search.found;
}

}  // namespace

std::string LibraryFilePath()
{
    Dl_info information;
    if (::dladdr(reinterpret_cast<void*>(&LibraryFilePath), &information) == 0 || information.dli_fname == nullptr)
        return std::string();
    if (information.dli_fname[0] == '/')
        return information.dli_fname;
    // A library found under a relative name (a relative search path, a relative dlopen) is named so by the
    // loader, relative to the current directory of that moment, which the process may have left since.
    // The kernel names the mapped file absolutely; the current directory is only the last resort.
    const std::string mapped = MappedFileName(reinterpret_cast<void*>(&LibraryFilePath));
    if (!mapped.empty())
        return mapped;
    char resolved[PATH_MAX];
    if (::realpath(information.dli_fname, resolved) != nullptr)
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
    if (!IsLoadedLibrary(library)) {
        SetLastError(kErrorProcNotFound);
        return nullptr;
    }
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
    if (!IsLoadedLibrary(library) || ::dlclose(library) != 0) {
        SetLastError(kErrorModuleNotFound);
        return false;
    }
    return true;
}

}  // namespace platform
