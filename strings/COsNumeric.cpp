// COsNumeric: comparisons of doubles with a fixed absolute tolerance.
#include "strings/COsNumeric.h"

namespace {

constexpr double kTolerance = 1e-10;

}  // namespace

bool COsNumeric::IsPositive(double x)
{
    return x > kTolerance;
}

bool COsNumeric::IsNegative(double x)
{
    return x < -kTolerance;
}

bool COsNumeric::IsZero(double x)
{
    return x < kTolerance && x > -kTolerance;
}

bool COsNumeric::IsEqual(double a, double b)
{
    return IsZero(a - b);
}

bool COsNumeric::IsGreater(double a, double b)
{
    return IsPositive(a - b);
}

bool COsNumeric::IsGreaterEqual(double a, double b)
{
    return !IsNegative(a - b);
}

bool COsNumeric::IsLess(double a, double b)
{
    return IsNegative(a - b);
}

bool COsNumeric::IsLessEqual(double a, double b)
{
    return !IsPositive(a - b);
}
