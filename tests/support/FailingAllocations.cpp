// The replaced global operator new and delete behind FailingAllocations.h.
#include "tests/support/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

// -1: allocations succeed. Otherwise the number of allocations that still succeed on this thread.
thread_local int t_remaining = -1;
thread_local bool t_reached = false;

void* Allocate(std::size_t size) noexcept
{
    if (t_remaining == 0) {
        t_reached = true;
        return nullptr;
    }
    if (t_remaining > 0)
        --t_remaining;
    return std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size)
{
    void* memory = Allocate(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

}  // namespace

namespace veltrane_test {

FailingAllocations::FailingAllocations(int count)
{
    t_remaining = count;
    t_reached = false;
}

FailingAllocations::~FailingAllocations()
{
    t_remaining = -1;
}

bool FailingAllocations::Reached() const
{
    return t_reached;
}

}  // namespace veltrane_test

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
