#include "BaseKit/mpfClass.h"

mpfClass::mpfClass() = default;

mpfClass::mpfClass(mpf_class const& v) : value(v) {}

mpfClass::mpfClass(double v) : value(v) {}

mpfClass::mpfClass(long v) : value(v) {}
