// platform/posix/errno_map.cpp — errno to the Windows Sockets numbers that the library reports.
#include "platform/posix/errno_map.h"

#include <cerrno>
#include <climits>

#include "platform/lasterror.h"
#include "platform/sockets.h"

namespace platform {

int WsaFromErrno(int error)
{
    switch (error) {
    case 0: return 0;
    case EINTR: return kWsaInterrupted;
    case EBADF: return kWsaBadHandle;
    case EPERM:
    case EACCES: return kWsaAccess;
    case EFAULT: return kWsaFault;
    case EINVAL: return kWsaInvalid;
    case EMFILE:
    case ENFILE: return kWsaTooManyOpen;
    case EAGAIN: return kWsaWouldBlock;
    // Windows reports a non-blocking connect that is under way as would-block.
    case EINPROGRESS: return kWsaWouldBlock;
    case EALREADY: return 10037;
    case ENOTSOCK: return kWsaNotSocket;
    case EDESTADDRREQ: return 10039;
    case EMSGSIZE: return 10040;
    case EPROTOTYPE: return 10041;
    case ENOPROTOOPT: return 10042;
    case EPROTONOSUPPORT: return kWsaProtocolNotSupported;
    case ESOCKTNOSUPPORT: return 10044;
    case EOPNOTSUPP: return 10045;
    case EPFNOSUPPORT: return 10046;
    case EAFNOSUPPORT: return kWsaFamilyNotSupported;
    case EADDRINUSE: return kWsaAddressInUse;
    case EADDRNOTAVAIL: return 10049;
    case ENETDOWN: return 10050;
    case ENETUNREACH: return 10051;
    case ENETRESET: return 10052;
    case ECONNABORTED: return kWsaConnectionAborted;
    // A send after the peer has gone: Windows names that a reset connection.
    case EPIPE:
    case ECONNRESET: return kWsaConnectionReset;
    case ENOMEM:
    case ENOBUFS: return kWsaNoBuffers;
    case EISCONN: return 10056;
    case ENOTCONN: return kWsaNotConnected;
    case ESHUTDOWN: return 10058;
    case ETIMEDOUT: return kWsaTimedOut;
    case ECONNREFUSED: return kWsaConnectionRefused;
    case ELOOP: return 10062;
    case ENAMETOOLONG: return 10063;
    case EHOSTDOWN: return 10064;
    case EHOSTUNREACH: return 10065;
    // No Windows number fits: the errno itself, which the library counts as an unknown failure.
    default: return error;
    }
}

void RecordErrno()
{
    SetLastError(static_cast<uint32_t>(WsaFromErrno(errno)));
}

int Descriptor(uint64_t socket)
{
    if (socket > static_cast<uint64_t>(INT_MAX)) {
        SetLastError(kWsaNotSocket);
        return -1;
    }
    return static_cast<int>(socket);
}

}  // namespace platform
