// platform/posix/random.cpp — random bytes from getrandom, retried across interruptions.
#include "platform/random.h"

#include <errno.h>
#include <sys/random.h>

namespace platform {

bool FillRandom(void* buffer, size_t count)
{
    unsigned char* next = static_cast<unsigned char*>(buffer);
    while (count > 0) {
        ssize_t got = getrandom(next, count, 0);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        next += got;
        count -= static_cast<size_t>(got);
    }
    return true;
}

}  // namespace platform
