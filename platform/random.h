// Cryptographic-quality random bytes from the host.
#pragma once

#include <cstddef>

namespace platform {

// Fills `buffer` with `count` random bytes; false if the host could not give them.
bool FillRandom(void* buffer, size_t count);

}  // namespace platform
