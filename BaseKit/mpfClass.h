// One GMP number behind a pointer: the operands of the mathematical functions
// (cStorage<mpfClass*>), drift points and drawn combinations. The value keeps GMP's default
// precision, which nothing in the system changes.
#pragma once

#include <gmpxx.h>

class mpfClass
{
public:
    mpfClass();
    explicit mpfClass(mpf_class const& v);
    explicit mpfClass(double v);
    explicit mpfClass(long v);

    mpf_class const& get() const { return value; }
    void set(mpf_class const& v) { value = v; }

    mpf_class value;
};

// Whether a stands above b by more than the rounding of a double: (a - b) / max(|a|, |b|) above the
// double epsilon (2.220446049250313e-16), computed in GMP. Two values that both lie below the
// smallest normal double (2.2250738585072014e-308) are never apart. The calibration's lock rules ask
// it whether a value stands clear of a bound, so that a value a conversion put a rounding step past
// the bound is not taken as outside it.
bool isDefinitelyAbove(mpf_class const& a, mpf_class const& b);
