// A client of the installed library: it links, loads and gets real answers across the boundary.
#include <Veltrane.h>

#include <cstdio>
#include <string>

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
    std::printf("client: ok (%s)\n", guid.c_str());
    return 0;
}
