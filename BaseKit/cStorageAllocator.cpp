#include "BaseKit/cStorageAllocator.h"

#include <atomic>
#include <cstdlib>

namespace
{
std::atomic<unsigned int> g_pendingFailures{0};

// True when this call is one of those asked to fail; counts it off.
bool takeFailure()
{
    unsigned int pending = g_pendingFailures.load(std::memory_order_relaxed);
    while (pending > 0)
    {
        if (g_pendingFailures.compare_exchange_weak(pending, pending - 1, std::memory_order_relaxed))
            return true;
    }
    return false;
}
} // namespace

void* cStorageAllocator::allocate(std::size_t bytes)
{
    return takeFailure() ? nullptr : std::malloc(bytes);
}

void* cStorageAllocator::reallocate(void* data, std::size_t bytes)
{
    return takeFailure() ? nullptr : std::realloc(data, bytes);
}

void cStorageAllocator::release(void* data)
{
    std::free(data);
}

void cStorageAllocator::failNextAllocations(unsigned int count)
{
    g_pendingFailures.store(count, std::memory_order_relaxed);
}

unsigned int cStorageAllocator::pendingFailures()
{
    return g_pendingFailures.load(std::memory_order_relaxed);
}
