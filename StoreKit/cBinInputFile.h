// cBinInputFile: the BIN crash recording, our compact binary form for large recordings: little-endian,
// length-prefixed UTF-8 texts, float32 samples and CRC-32 checksums (zlib) checked on read. Read and
// written; a round trip is exact. A BIN recording declares no defects. The layout is described at the
// top of cBinInputFile.cpp.
#pragma once
#include "StoreKit/cAcquisitionInputFile.h"

#include <cstdint>
#include <string>
#include <vector>

class cBinInputFile : public cAcquisitionInputFile
{
public:
    // Opens path with the stream mode (0x21 for a crash file list); read() then reads the directory.
    cBinInputFile(char const* path, int mode);
    ~cBinInputFile() override;

    // Writes any recording in this format: a cAcquisitionInputFile with its header fields, T0 and extra
    // items (declared defects have no place in BIN and are not written), or a recording in memory with
    // its channels only. Samples are fetched first (and given back afterwards if they were not in
    // memory); the bytes go to a temporary file renamed over path when complete, so a failure never
    // loses the old file. A failure throws cFstreamOpenException with path.
    static void writeFile(cInputFile const& recording, std::string const& path);
    // Writes this recording back to its own path.
    void save() override;

    void readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const override;

protected:
    void readDirectory() override;

private:
    // Writes the file and gives the byte offset of each channel's sample block in it.
    static std::vector<std::uint64_t> writeRecording(cInputFile const& recording, std::string const& path);

    // Where each channel's sample block starts, by source index. Rewritten when the recording is
    // written over its own file, so that samples given back are read again from the new layout.
    mutable std::vector<std::uint64_t> m_blockOffsets;
};
