// cMmeInputFile: an ISO-MME test (ISO/TS 13499) as crash laboratories exchange it: the test's .mme
// header, Channel/<test>.chn and one file per channel, found without regard to case. Read only; its
// header keys with a counterpart map onto the crash fields. An ISO-MME recording declares no defects.
#pragma once
#include "StoreKit/cAcquisitionInputFile.h"

#include <string>
#include <vector>

class cMmeInputFile : public cAcquisitionInputFile
{
public:
    // Opens path with the stream mode (0x21 for a crash file list); read() then reads the directory.
    cMmeInputFile(char const* path, int mode);
    ~cMmeInputFile() override;

    void readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const override;

protected:
    void readDirectory() override;
};
