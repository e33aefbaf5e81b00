// Locks the library needs from the host: a recursive mutex kept in caller-provided storage.
#pragma once

#include <cstddef>

namespace platform {

// Bytes a recursive mutex needs; callers reserve at least this much, aligned to 8.
constexpr size_t kRecursiveMutexSize = 40;

// Constructs a recursive mutex in `storage`.
void RecursiveMutexInit(void* storage);
// Destroys it. If the calling thread holds it, it is released once first.
void RecursiveMutexDestroy(void* storage);
// Waits without limit; the owner may lock again.
void RecursiveMutexLock(void* storage);
// One attempt, never waits; true when the calling thread now holds the mutex.
bool RecursiveMutexTryLock(void* storage);
void RecursiveMutexUnlock(void* storage);

}  // namespace platform
