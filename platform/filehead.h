// Reading the start of a small file of settings, without ever waiting on something that is not a file.
#pragma once

#include <cstddef>
#include <string>

namespace platform {

// Reads at most `capacity` bytes from the start of the regular file `path` (UTF-8, relative names from the
// process's current directory) into `content`. False when the name is missing or unreadable, or names
// something other than a regular file (a directory, a FIFO, a device): such a name is never waited on.
bool ReadFileHead(const std::string& path, size_t capacity, std::string& content);

}  // namespace platform
