// Internal: the byte range whose lock orders the writers of one file.
#pragma once

#include <cstdint>

namespace filesystem {

// Far behind any real content, so the lock holds up no read or write of data: it only makes the takers
// of this same lock wait for each other. The numbers are the library's on every host, so that programs
// on either side that share a file exclude each other.
constexpr uint64_t kLockOffset = 0x0000FFFF00000000ull;
constexpr uint64_t kLockLength = 0x100000000ull;

}  // namespace filesystem
