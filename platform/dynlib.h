// Dynamic libraries: loading, symbol lookup and where this library's own file lies.
#pragma once

#include <string>

namespace platform {

// The full path of the file that holds this library's code (the executable when linked statically),
// "" when the host cannot say.
std::string LibraryFilePath();

// Loads the library at `path` (UTF-8) with every symbol bound now and kept local to it. Null on
// failure, with the last error set to kErrorModuleNotFound.
// Host notes: Windows looks for the libraries it depends on in its own directory first.
void* OpenLibrary(const std::string& path);

// The address of `name` in `library` (not null), null with the last error kErrorProcNotFound when it is
// missing.
void* FindSymbol(void* library, const char* name);

// Releases one load of `library`; false (last error kErrorModuleNotFound) when the host refuses.
bool CloseLibrary(void* library);

}  // namespace platform
