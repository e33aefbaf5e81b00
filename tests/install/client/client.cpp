// A client of the installed library: it links, loads and gets real answers across the boundary.
// VELTRANE_CLIENT_PREFIXED picks the <veltrane/...> spelling of the include; VELTRANE_CLIENT_STANDARD
// is the C++ standard the client was built for, which the library's flags must leave as it is.
#ifdef VELTRANE_CLIENT_PREFIXED
#include <veltrane/Veltrane.h>
#else
#include <Veltrane.h>
#endif

#include <cstdio>
#include <string>

#ifdef VELTRANE_CLIENT_STANDARD
static_assert(__cplusplus >= VELTRANE_CLIENT_STANDARD, "the library's flags changed the client's C++ standard");
#endif

int main()
{
    std::string guid = COsGuid::NewGuid();
    char text[16];
    int length = veltrane::snprintf(text, sizeof text, "%d-%s", 42, "ok");
    void* block = AllocBlock(nullptr, 1025);
    int capacity = GetBufferLength(block);
    FreeBlock(block);
    CMonitoredSection section;
    section.Enter();
    bool reentered = section.TryEnter(0);
    section.Leave();
    section.Leave();
    if (guid.size() != 36 || length != 5 || std::string(text) != "42-ok" || capacity != 2048 || !reentered) {
        std::printf("client: unexpected answers (guid '%s', length %d, capacity %d)\n", guid.c_str(), length, capacity);
        return 1;
    }
    std::printf("client: ok (%s, C++ %ld)\n", guid.c_str(), static_cast<long>(__cplusplus));
    return 0;
}
