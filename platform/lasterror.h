// The thread's last-error number, with the Windows numbers the library reports.
#pragma once

#include <cstdint>

namespace platform {

constexpr uint32_t kErrorFileNotFound = 2;
constexpr uint32_t kErrorPathNotFound = 3;
constexpr uint32_t kErrorAccessDenied = 5;
constexpr uint32_t kErrorInvalidHandle = 6;
constexpr uint32_t kErrorNotEnoughMemory = 8;
constexpr uint32_t kErrorNoMoreFiles = 18;
constexpr uint32_t kErrorInvalidParameter = 87;
constexpr uint32_t kErrorDiskFull = 112;
constexpr uint32_t kErrorBufferOverflow = 111;
constexpr uint32_t kErrorModuleNotFound = 126;
constexpr uint32_t kErrorProcNotFound = 127;
constexpr uint32_t kErrorAlreadyExists = 183;
constexpr uint32_t kErrorFilenameTooLong = 206;

// Starts at 0 in every thread.
// Host notes: on Windows it is the system's own last error, so a client's GetLastError reads it too.
uint32_t GetLastError();
void SetLastError(uint32_t error);

}  // namespace platform
