// What the host's file system says about a path, without opening it, and how the host roots a name.
#pragma once

#include <string>

namespace platform {

// True when `path` (UTF-8) names an existing directory, following symbolic links; false when it is
// missing, unreachable or anything else.
bool IsExistingDirectory(const std::string& path);

// True when the host roots `path` in its own file system although the library's text rules, which are
// Windows' rules on every host, do not call it absolute; the library then takes it as it stands instead
// of placing it under the library's directory.
// Host notes: POSIX roots every name that begins with "/"; on Windows the text rules already know every
// absolute form, so none is added.
bool IsRootedOnHost(const std::string& path);

}  // namespace platform
