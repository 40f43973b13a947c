#include "Host/Version.h"

std::string simcoreVersion()
{
    return SIMCORE_VERSION;
}
