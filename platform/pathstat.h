// What the host's file system says about a path, without opening it.
#pragma once

#include <string>

namespace platform {

// True when `path` (UTF-8) names an existing directory, following symbolic links; false when it is
// missing, unreachable or anything else.
bool IsExistingDirectory(const std::string& path);

}  // namespace platform
