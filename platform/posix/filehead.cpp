// platform/posix/filehead.cpp — the start of a regular file, opened without waiting.
// Opening a FIFO for reading waits for a writer unless the open is non-blocking, so the name is opened that
// way first and only then known to be a regular file (a stat before the open could be raced).
#include "platform/filehead.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

bool ReadFileHead(const std::string& path, size_t capacity, std::string& content)
{
    content.clear();
    int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    struct stat status;
    bool readable = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    if (readable) {
        content.resize(capacity);
        size_t filled = 0;
        while (filled < capacity) {
            ssize_t got = ::read(descriptor, &content[filled], capacity - filled);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                readable = false;
            if (got <= 0)
                break;
            filled += static_cast<size_t>(got);
        }
        content.resize(readable ? filled : 0);
    }
    close(descriptor);
    return readable;
}

}  // namespace platform
