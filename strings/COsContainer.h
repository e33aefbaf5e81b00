// COsContainer: a vector of owned byte strings, cleared and deep-copied.
#pragma once

#include <vector>

#include "../core/Types.h"

// Every non-null element of the vectors here is a buffer made with new[] that the vector owns.
class VELTRANE_API COsContainer
{
public:
    // Releases every non-null element with delete[] and empties the vector; a null vector does nothing.
    static void Clear(std::vector<char*>* strings);
    // Clears target, then appends a new copy of each non-null string of source (null elements are
    // skipped). The strings of source stay with their owner; source must not hold target's strings.
    static void Copy(std::vector<char*> source, std::vector<char*>* target);

private:
    COsContainer() {}
    ~COsContainer() {}
};
