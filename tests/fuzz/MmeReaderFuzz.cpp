// Fuzzes the ISO-MME reader. One input is a whole test folder: its parts are separated by a line
// "@@@" and are, in order, the .mme header, the channel list (.chn) and the channel files .001, .002 ...
// `make fuzz` makes the seed of this form from the test data.
#include "StoreKit/cMmeInputFile.h"
#include "tests/fuzz/cFuzzFile.h"

#include <cstdio>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const folder = fuzzFolder() + "T/";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder + "Channel");
    std::string_view const input(reinterpret_cast<char const*>(data), size);
    std::string_view const separator = "\n@@@\n";
    size_t begin = 0;
    for (int part = 0; part < 100; ++part)
    {
        size_t const end = std::min(input.find(separator, begin), input.size());
        std::string path;
        if (part == 0)
            path = folder + "T.mme";
        else if (part == 1)
            path = folder + "Channel/T.chn";
        else
        {
            char name[16];
            std::snprintf(name, sizeof name, "T.%03d", part - 1);
            path = folder + "Channel/" + name;
        }
        writeFuzzFile(path, input.data() + begin, end - begin);
        if (end >= input.size())
            break;
        begin = end + separator.size();
    }
    readRecordingFully<cMmeInputFile>(folder + "T.mme");
    return 0;
}
