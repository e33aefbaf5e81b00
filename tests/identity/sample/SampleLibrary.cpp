// A small library that the library-loading tests load by absolute and by relative name.
#include <cstdint>

extern "C" __attribute__((visibility("default"))) int64_t veltrane_sample_answer()
{
    return 42;
}
