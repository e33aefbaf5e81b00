// Threads the library needs from the host: suspended creation, exit codes, forced end and priorities.
#pragma once

#include <cstdint>

namespace platform {

// A host thread as the library sees it; the library holds it through an opaque pointer.
struct ThreadHandle;

typedef uint32_t (*ThreadEntry)(void* argument);

// The exit code that a thread reports while it is still active.
constexpr uint32_t kStillActive = 259;
// What GetThreadPriority gives when the host could not tell.
constexpr int kThreadPriorityErrorReturn = 0x7fffffff;

// Creates a thread that waits, before calling `entry(argument)`, until ResumeThread; stores its id in
// `threadId` and returns its handle, or null when the host refused or memory ran out.
ThreadHandle* CreateSuspendedThread(ThreadEntry entry, void* argument, uint32_t* threadId);
// Lets a suspended thread go on into its entry.
void ResumeThread(ThreadHandle* handle);
// kStillActive while the thread runs; afterwards what its entry returned, or the code of a forced end.
uint32_t GetExitCodeThread(ThreadHandle* handle);
// Waits until the thread has ended, whichever way, at most `milliseconds` (kWaitForever from
// platform/sync.h: without limit); true when it has ended.
bool WaitForThreadEnd(ThreadHandle* handle, uint32_t milliseconds);
// Ends the thread by force with `exitCode` and waits, for a bounded time, until it has ended, so that nothing
// it was running touches memory afterwards. True when the thread has ended; false when it runs on, in code
// that the forced end cannot reach. Whether the thread's own clean-up runs differs by host, so a forced end
// is a last resort: the library uses it only on a thread that has not stopped when told to.
// Host notes: POSIX cancels the thread, which takes effect at its next cancellation point (a sleep, a wait,
// a read) and unwinds its stack with a forced exception, running its destructors; a thread spinning without
// a cancellation point does not end. Windows stops the thread where it is, at once and without unwinding:
// no destructor of its frames runs, and a lock it held stays held.
bool TerminateThread(ThreadHandle* handle, uint32_t exitCode);
// Gives the handle up; the thread, if it still runs, goes on to its end and then releases itself.
void CloseThreadHandle(ThreadHandle* handle);
// Sets the thread's priority on the Windows scale (15, 2, 1, 0, -1, -2, -14, -15); false when refused, and
// then the thread keeps the level it had. A thread that has ended keeps the level it ended with: setting is
// refused, and reading gives that level until the handle is closed.
// Host notes: POSIX maps the levels to the thread's nice value (-20, -10, -5, 0, 5, 10, 15, 19); an
// unprivileged process may raise a nice value but never lower it. Windows takes the levels as they are,
// except -14, which it knows only in the real-time priority class and refuses in every other.
bool SetThreadPriority(ThreadHandle* handle, int priority);
// The thread's priority on the Windows scale, or kThreadPriorityErrorReturn when the host could not tell
// or its level is none of the scale's.
int GetThreadPriority(ThreadHandle* handle);
// Switches the host's dynamic priority boost for the thread on or off, where the host has one.
// Host notes: Windows has one; POSIX has none and ignores the call.
void SetThreadPriorityBoost(ThreadHandle* handle, bool disable);
// The calling thread's id, as the kernel numbers threads (the same number other tools of the host show).
uint32_t GetCurrentThreadId();

}  // namespace platform
