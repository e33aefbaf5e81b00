// Allocations that fail on request, for tests of what the library does when memory runs out. The suite that
// includes FailingAllocations.cpp replaces the global operator new and delete with forms that pass through to
// malloc and free, and fail (throw std::bad_alloc, or give null for the nothrow forms) when asked to.
#pragma once

#include <new>

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

// Calls `attempt` with its first allocation failing, then with its second failing, and so on, until a call
// reaches no failure. `check(result, threw, failed, count)` looks at each call: `failed` says whether it
// reached the failing allocation, `threw` whether std::bad_alloc escaped it. Gives the count of the call that
// needed no failure (0: `attempt` allocates nothing), or -1 when 1000 calls did not get there.
template <class Attempt, class Check>
int ForEachFailingAllocation(Attempt attempt, Check check)
{
    for (int count = 0; count < 1000; ++count) {
        decltype(attempt()) result{};
        bool threw = false, failed = false;
        {
            FailingAllocations failing(count);
            try {
                result = attempt();
            } catch (const std::bad_alloc&) {
                threw = true;
            }
            failed = failing.Reached();
        }
        check(result, threw, failed, count);
        if (!failed)
            return count;
    }
    return -1;
}

}  // namespace veltrane_test
