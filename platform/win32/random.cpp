// platform/win32/random.cpp — random bytes from the system's preferred generator, in ULONG-sized pieces.
#include "platform/random.h"

#include <windows.h>
#include <bcrypt.h>

namespace platform {

bool FillRandom(void* buffer, size_t count)
{
    constexpr size_t kLargestRequest = 0x40000000;
    unsigned char* next = static_cast<unsigned char*>(buffer);
    while (count > 0) {
        size_t piece = count < kLargestRequest ? count : kLargestRequest;
        if (!BCRYPT_SUCCESS(::BCryptGenRandom(nullptr, next, static_cast<ULONG>(piece),
                                              BCRYPT_USE_SYSTEM_PREFERRED_RNG)))
            return false;
        next += piece;
        count -= piece;
    }
    return true;
}

}  // namespace platform
