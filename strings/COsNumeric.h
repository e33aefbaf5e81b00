// COsNumeric: comparisons of doubles with a fixed absolute tolerance of 1e-10.
#pragma once

#include "../core/Types.h"

// Every test is made on d = a - b (or on x) against +/-1e-10, whatever the size of the operands. A NaN
// makes every strict test false, and so IsGreaterEqual and IsLessEqual true.
class VELTRANE_API COsNumeric
{
public:
    static bool IsPositive(double x);
    static bool IsNegative(double x);
    static bool IsZero(double x);
    static bool IsEqual(double a, double b);
    static bool IsGreater(double a, double b);
    static bool IsGreaterEqual(double a, double b);
    static bool IsLess(double a, double b);
    static bool IsLessEqual(double a, double b);

private:
    COsNumeric() {}
    ~COsNumeric() {}
};
