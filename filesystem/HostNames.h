// Internal: how a file or directory name of the interface becomes the name that the host is given.
#pragma once

#include <string>

namespace filesystem {

// True when `text` can be handed to the host as a name or a mode: well-formed UTF-8 without a NUL byte.
// Anything else would reach the system as another name (a replacement character, or the text cut at
// the NUL), so it counts as a text that cannot be converted.
bool IsConvertible(const std::string& text);

// The absolute normal form of `name` into `path`: OS_ERR_BAD_PATH when it cannot be made (an empty form
// included), OS_ERR_ENCODING when it cannot be converted, 0 otherwise.
int PrepareName(const std::string& name, std::string& path);

}  // namespace filesystem
