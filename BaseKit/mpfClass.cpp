#include "BaseKit/mpfClass.h"

mpfClass::mpfClass() = default;

mpfClass::mpfClass(mpf_class const& v) : value(v) {}

mpfClass::mpfClass(double v) : value(v) {}

mpfClass::mpfClass(long v) : value(v) {}

namespace
{
constexpr double kSmallestNormalDouble = 2.2250738585072014e-308;
constexpr double kDoubleEpsilon = 2.220446049250313e-16;
} // namespace

bool isDefinitelyAbove(mpf_class const& a, mpf_class const& b)
{
    mpf_class const magnitudeA = abs(a);
    mpf_class const magnitudeB = abs(b);
    // Also keeps the division below from a zero divisor.
    if (magnitudeA < kSmallestNormalDouble && magnitudeB < kSmallestNormalDouble)
        return false;
    mpf_class const largest = magnitudeA > magnitudeB ? magnitudeA : magnitudeB;
    return mpf_class((a - b) / largest) > kDoubleEpsilon;
}
