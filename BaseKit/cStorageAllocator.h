// The one place where cStorage takes and frees element memory. Lists and signals grow through
// malloc/realloc here, so that tests can make an allocation fail on purpose and check what the
// lists report and keep when memory runs out.
#pragma once

#include <cstddef>

class cStorageAllocator
{
public:
    // malloc and realloc, unless a failure has been asked for: then null, as the C library
    // gives when memory is exhausted.
    static void* allocate(std::size_t bytes);
    static void* reallocate(void* data, std::size_t bytes);
    static void release(void* data);

    // For tests: the next `count` calls of allocate or reallocate fail (0 cancels).
    static void failNextAllocations(unsigned int count);
    // How many of the failures asked for have not happened yet.
    static unsigned int pendingFailures();
};
