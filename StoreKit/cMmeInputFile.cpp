#include "StoreKit/cMmeInputFile.h"

#include "BaseKit/cKynException.h"

// Placeholder while the reader is written on its own branch.
cMmeInputFile::cMmeInputFile(char const* path, int mode) : cAcquisitionInputFile(path, mode) {}
cMmeInputFile::~cMmeInputFile() = default;
void cMmeInputFile::readDirectory()
{
    fail("reader not built yet");
}
void cMmeInputFile::readChannelSamples(cChannelInput const&, std::vector<float>&) const
{
    fail("reader not built yet");
}
