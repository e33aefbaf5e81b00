// Locks and signals the library needs from the host: a recursive mutex kept in caller-provided storage, and
// an event on which one thread waits for another.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// Bytes a recursive mutex needs, its owner and its depth included; callers reserve at least this much,
// aligned to 8.
constexpr size_t kRecursiveMutexSize = 64;

// Constructs a recursive mutex in `storage`.
void RecursiveMutexInit(void* storage);
// Destroys it. If the calling thread holds it, it is released as often as that thread entered it first; no
// other thread may hold it or wait for it.
void RecursiveMutexDestroy(void* storage);
// Waits without limit; the owner may lock again.
void RecursiveMutexLock(void* storage);
// One attempt, never waits; true when the calling thread now holds the mutex.
bool RecursiveMutexTryLock(void* storage);
// Leaves one level of the caller's hold; the last one releases the mutex.
void RecursiveMutexUnlock(void* storage);

// The time that a wait accepts for "no limit".
constexpr uint32_t kWaitForever = 0xFFFFFFFF;

// An event that resets itself: a signal lets exactly one wait through (the next one, if nobody waits yet)
// and is used up by it. Signals do not add up: two before a wait let one wait through.
struct Event;

// A new event, not signalled; null when the host could not make one.
Event* NewEvent();
// Destroys the event; nobody may wait for it any more. Null does nothing.
void DeleteEvent(Event* event);
// Signals the event.
void SignalEvent(Event* event);
// Waits until the event is signalled, at most `milliseconds` (kWaitForever: without limit); true when the
// signal came (and is used up), false when the time passed first.
bool WaitForEvent(Event* event, uint32_t milliseconds);

}  // namespace platform
