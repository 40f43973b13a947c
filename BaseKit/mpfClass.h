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
