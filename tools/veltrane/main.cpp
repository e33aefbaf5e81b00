// veltrane: the demonstration. Each section shows one capability of the library at work.
#include <Veltrane.h>

#include <cstdio>
#include <string>

namespace {

void Heading(const char* title)
{
    std::printf("\n== %s\n", title);
}

void ShowGuids()
{
    Heading("GUIDs");
    for (int i = 0; i < 3; ++i)
        std::printf("  COsGuid::NewGuid()        %s\n", COsGuid::NewGuid().c_str());
}

void ShowBlocks()
{
    Heading("Blocks");
    void* block = AllocBlock(nullptr, 1500);
    std::printf("  AllocBlock(1500)           capacity %d, length %d\n", GetBufferLength(block), GetBlockLength(block));
    block = AllocBlock(block, 100);
    std::printf("  AllocBlock(block, 100)     capacity %d, length %d (never shrinks)\n", GetBufferLength(block),
                GetBlockLength(block));
    FreeBlock(block);
}

}  // namespace

int main()
{
    std::printf("Veltrane demonstration\n");
    ShowBlocks();
    ShowGuids();
    return 0;
}
