// cBinInputFile: the BIN crash recording, our compact binary form for large recordings: little-endian,
// length-prefixed UTF-8 texts, float32 samples and CRC-32 checksums (zlib) checked on read. Read and
// written; a round trip is exact. A BIN recording declares no defects.
#pragma once
#include "StoreKit/cAcquisitionInputFile.h"

#include <string>
#include <vector>

class cBinInputFile : public cAcquisitionInputFile
{
public:
    // Opens path with the stream mode (0x21 for a crash file list); read() then reads the directory.
    cBinInputFile(char const* path, int mode);
    ~cBinInputFile() override;

    // Writes any recording in this format: a cAcquisitionInputFile with its header, defects and extra
    // items, or a recording in memory with its channels only. Samples are fetched first; the text goes
    // to a temporary file renamed over path when complete, so a failure never loses the old file.
    static void writeFile(cInputFile const& recording, std::string const& path);
    // Writes this recording back to its own path.
    void save() override;

    void readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const override;

protected:
    void readDirectory() override;
};
