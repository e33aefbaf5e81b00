// Internal: what the file and directory sources of this host share: the Windows number of a file system
// errno, and the attribute bits of a file's mode and name.
#pragma once

#include <cstdint>

namespace platform {

// Sets the thread's last error to the Windows number of a file system errno.
void SetLastErrorFromErrno(int error);

// The FILE_ATTRIBUTE_* bits of an entry with the mode `mode` (st_mode) and the name `name` (its last
// segment, or a whole path): directory from the file type, read-only when the owner may not write, hidden
// for a name that begins with ".", and FILE_ATTRIBUTE_NORMAL when none of them applies.
uint32_t AttributesOf(unsigned int mode, const char* name);

}  // namespace platform
