// cMmeInputFile: an ISO-MME test (ISO/TS 13499) as crash laboratories exchange it: the test's .mme
// header, Channel/<test>.chn and one file per channel, found without regard to case. Read only; its
// header keys with a counterpart map onto the crash fields. An ISO-MME recording declares no defects.
#pragma once
#include "StoreKit/cAcquisitionInputFile.h"

#include <ios>
#include <string>
#include <utility>
#include <vector>

class cMmeInputFile : public cAcquisitionInputFile
{
public:
    // Opens path, the test's .mme file, with the stream mode (0x21 for a crash file list); read() then
    // reads the header and the channel directory.
    cMmeInputFile(char const* path, int mode);
    ~cMmeInputFile() override;

    // Re-opens the channel's own file and reads its sample lines; a NOVALUE sample, a line that is no
    // number or a count other than the header's throws, naming the channel file and the line.
    void readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const override;

protected:
    // The .mme header through stream(), then the .chn and the header of each channel file; samples wait.
    void readDirectory() override;
    tHeaderItems defaultCrashMapping() const override;

private:
    // Where a channel's samples stand in its file, found while its header was read.
    struct sChannelFile
    {
        std::string path;
        unsigned int firstSampleLine = 0;
        std::streamoff firstSampleOffset = 0;
        unsigned int sampleCount = 0;
    };

    struct sChannelHeader;
    // The first channel's first sample time: every channel starts there.
    struct sStart
    {
        std::string text;
        double seconds = 0.0;
        std::string channel;
    };
    void readHeader(std::string const& text);
    std::vector<std::pair<unsigned int, std::string>> readChannelList(std::string const& chnPath) const;
    sChannelHeader readChannelHeader(std::string const& path) const;
    // Reads the header of one channel file and adds the channel, named code.
    void addChannel(std::string const& path, std::string const& code, sStart& start);

    std::vector<sChannelFile> m_channelFiles;
};
