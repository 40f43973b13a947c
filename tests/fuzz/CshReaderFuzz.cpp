// Fuzzes the CSH text recording reader.
#include "StoreKit/cCshInputFile.h"
#include "tests/fuzz/cFuzzFile.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const path = fuzzFolder() + "input.csh";
    writeFuzzFile(path, reinterpret_cast<char const*>(data), size);
    readRecordingFully<cCshInputFile>(path);
    return 0;
}
