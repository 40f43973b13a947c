#include "BaseKit/GestureFlag.h"

#include <atomic>

namespace
{
// Set by the host's dialog thread, read by the calibration on the main thread.
std::atomic<bool> gLButtonUp{false};
} // namespace

bool isLButtonUp()
{
    return gLButtonUp.load();
}

void setLButtonUp(bool up)
{
    gLButtonUp.store(up);
}
