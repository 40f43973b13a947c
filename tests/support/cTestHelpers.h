// Small helpers shared by the test binaries.
#pragma once

#include "BaseKit/cKynException.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

// A count that other threads raise and a test waits on: the waiting thread sleeps on a condition
// variable until the count is reached, it does not poll. The deadline only turns a hang into a
// failure on a machine that has stopped making progress.
class cEventCounter
{
public:
    // Notifies under the lock: a waiter that sees the count may end and destroy the counter (a global
    // at exit, say) as soon as it can take the mutex, so nothing may touch it after the unlock.
    void notify()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_count;
        m_changed.notify_all();
    }
    bool waitFor(unsigned int count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(20), [&] { return m_count >= count; });
    }
    unsigned int count() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_count;
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned int m_count = 0;
};

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

// "source|class|function|text" of the family exception that call throws, or "no exception": for the
// tests that also check the source file a failure names (hosts compare it).
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

// The line that the family exception thrown by call names, or 0 when it throws none.
template <typename F> int lineOf(F call)
try
{
    call();
    return 0;
}
catch (cKynException const& e)
{
    return e.getLine();
}
