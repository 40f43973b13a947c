// "source|class|function|text" of the family exception that a call throws, or "no exception": for the
// kit tests that also check which source file a failure names (hosts compare it).
#pragma once

#include "BaseKit/cKynException.h"

#include <string>

template <typename F> std::string failureWithSourceOf(F call)
try
{
    call();
    return "no exception";
}
catch (cKynException const& e)
{
    return e.getSourceFile() + "|" + e.getClassName() + "|" + e.getFunction() + "|" + e.what();
}
