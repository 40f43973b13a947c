// cCshInputFile: the CSH crash recording, our text format: readable and diff-able. A header of the crash
// fields, then per channel its name, unit, sampling rate, sample count and declared defects, then the
// samples of each channel, one per line. Read and written; a round trip is exact.
#pragma once
#include "StoreKit/cAcquisitionInputFile.h"

#include <mutex>
#include <string>
#include <vector>

class cCshInputFile : public cAcquisitionInputFile
{
public:
    // Opens path with the stream mode (0x21 for a crash file list); read() then reads the directory.
    cCshInputFile(char const* path, int mode);
    ~cCshInputFile() override;

    // Writes any recording in this format: a cAcquisitionInputFile with its header, defects and extra
    // items, or a recording in memory with its channels only. Samples are fetched first; the text goes
    // to a temporary file renamed over path when complete, so a failure never loses the old file.
    static void writeFile(cInputFile const& recording, std::string const& path);
    // Writes this recording back to its own path.
    void save() override;

    void readChannelSamples(cChannelInput const& channel, std::vector<float>& samples) const override;

protected:
    void readDirectory() override;

private:
    // Where the samples of one channel stand in the file: bytes [begin, end) and the line of the first.
    struct sSection
    {
        size_t begin = 0;
        size_t end = 0;
        unsigned int firstLine = 0;
    };
    // The whole CSH text of a recording; path only names the target in messages.
    static std::string textOf(cInputFile const& recording, std::string const& path);
    // Finds every channel's data section in the whole text, checking that each has its count of lines.
    void indexSections(std::string const& text) const;

    size_t m_dataOffset = 0;
    unsigned int m_dataLine = 0;
    // Built on the first sample read, under the lock: channels may be read from several threads.
    mutable std::mutex m_sectionsMutex;
    mutable std::vector<sSection> m_sections;
};
