// Internal: the Windows Sockets number of an errno, and the descriptor behind a socket handle, which every
// socket source of this host shares.
#pragma once

#include <cstdint>

namespace platform {

// The Windows Sockets number of `error`; an errno that has none is given back as it is.
int WsaFromErrno(int error);
// Sets the thread's last error from errno.
void RecordErrno();
// The descriptor behind a handle, or -1 (with the last error set) for a handle that cannot be one, as
// all ones: Windows refuses such a handle as not a socket.
int Descriptor(uint64_t socket);

}  // namespace platform
