// A message payload that counts its destructions, so that a test sees who deletes a message and
// when: the receiving thread, the queue that goes with it, or the poster whose post failed.
#pragma once

#include "SimCore/cThread.h"

#include <atomic>
#include <cstdint>

class cCountedMessage : public cMessage
{
public:
    ~cCountedMessage() override { ++s_destroyed; }
    // Atomic: payloads also go on the threads that handle them.
    static inline std::atomic<int> s_destroyed{0};
    // A new one as the lParam of a platform post.
    static intptr_t word() { return reinterpret_cast<intptr_t>(new cCountedMessage); }
};
