#include "StoreKit/cBinInputFile.h"

#include "BaseKit/cKynException.h"

// Placeholder while the reader is written on its own branch.
cBinInputFile::cBinInputFile(char const* path, int mode) : cAcquisitionInputFile(path, mode) {}
cBinInputFile::~cBinInputFile() = default;
void cBinInputFile::readDirectory()
{
    fail("reader not built yet");
}
void cBinInputFile::readChannelSamples(cChannelInput const&, std::vector<float>&) const
{
    fail("reader not built yet");
}
void cBinInputFile::writeFile(cInputFile const&, std::string const&) {}
void cBinInputFile::save() {}
