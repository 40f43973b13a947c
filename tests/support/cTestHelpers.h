// Small helpers shared by the test binaries.
#pragma once

#include "BaseKit/cKynException.h"

#include <chrono>
#include <string>
#include <thread>

// Polls until pred holds; the deadline is generous so that a loaded machine does not fail a test.
template <class tPredicate> bool eventually(tPredicate pred)
{
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    bool held = pred();
    for (; !held && std::chrono::steady_clock::now() < deadline; held = pred())
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return held;
}

// "class|function|text" of the family exception that call throws, or "no exception".
template <typename F> std::string failureOf(F call)
try
{
    call();
    return "no exception";
}
catch (cKynException const& e)
{
    return std::string(e.getClassName()) + "|" + e.getFunction() + "|" + e.what();
}
