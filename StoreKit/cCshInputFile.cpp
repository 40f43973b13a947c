#include "StoreKit/cCshInputFile.h"

#include "BaseKit/cKynException.h"

// Placeholder while the reader is written on its own branch.
cCshInputFile::cCshInputFile(char const* path, int mode) : cAcquisitionInputFile(path, mode) {}
cCshInputFile::~cCshInputFile() = default;
void cCshInputFile::readDirectory()
{
    fail("reader not built yet");
}
void cCshInputFile::readChannelSamples(cChannelInput const&, std::vector<float>&) const
{
    fail("reader not built yet");
}
void cCshInputFile::writeFile(cInputFile const&, std::string const&) {}
void cCshInputFile::save() {}
