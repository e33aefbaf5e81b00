// Dynamic libraries: loading, symbol lookup and where this library's own file lies.
#pragma once

#include <string>

namespace platform {

// The full path of the file that holds this library's code (the executable when linked statically),
// "" when the host cannot say.
std::string LibraryFilePath();

// Loads the library at `path` (UTF-8) with every symbol bound now and kept local to it. Null on
// failure, with the last error set to kErrorModuleNotFound. A name that is there but is no regular file
// (a FIFO, a device, a directory) fails without being read, so no load waits on it, and the name is the
// file itself: it is never looked for on a search path.
// Host notes: Windows looks for the libraries it depends on in its own directory first. On POSIX a name
// without a "/" (a drive head such as "C:x.so") is the file of that name in the current directory.
void* OpenLibrary(const std::string& path);

// The address of `name` in `library` (not null), null with the last error kErrorProcNotFound when it is
// missing, or when `library` is no library loaded now (released already, or never a handle).
void* FindSymbol(void* library, const char* name);

// Releases one load of `library`; false (last error kErrorModuleNotFound) when the host refuses, or when
// `library` is no library loaded now: a handle released already is never read again.
bool CloseLibrary(void* library);

}  // namespace platform
