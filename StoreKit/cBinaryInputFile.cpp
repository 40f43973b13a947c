#include "StoreKit/cBinaryInputFile.h"

#include <cerrno>

cBinaryInputFile::cBinaryInputFile(char const* path, int mode)
    : cInputFile(path != nullptr ? path : ""), m_mode(mode)
{
    errno = 0;
    m_stream.open(getFileName(), toOpenMode(mode) | std::ios::in);
    // The caller reads errno right after construction: keep the open's own reason.
    int const openError = errno;
    errno = m_stream.is_open() ? 0 : openError;
}

cBinaryInputFile::~cBinaryInputFile() = default;

void cBinaryInputFile::closeStream()
{
    if (m_stream.is_open())
        m_stream.close();
}

std::ios::openmode cBinaryInputFile::toOpenMode(int mode)
{
    std::ios::openmode result{};
    if (mode & kModeInput)
        result |= std::ios::in;
    if (mode & kModeOutput)
        result |= std::ios::out;
    if (mode & kModeBinary)
        result |= std::ios::binary;
    return result;
}
