// Allocations that fail on request, for tests of what the library does when memory runs out. The suite that
// includes FailingAllocations.cpp replaces the global operator new and delete with forms that pass through to
// malloc and free, and fail (throw std::bad_alloc, or give null for the nothrow forms) when asked to.
#pragma once

namespace veltrane_test {

// Makes the allocation after `count` more successful ones on the calling thread fail, and every one after it
// until the end of the scope; other threads are never touched. Whether the failure was reached says whether
// the code under test allocated that much.
class FailingAllocations
{
public:
    explicit FailingAllocations(int count);
    ~FailingAllocations();
    bool Reached() const;
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;
};

}  // namespace veltrane_test
