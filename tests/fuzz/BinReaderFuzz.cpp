// Fuzzes the BIN binary recording reader.
#include "StoreKit/cBinInputFile.h"
#include "tests/fuzz/cFuzzFile.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const path = fuzzFolder() + "input.bin";
    writeFuzzFile(path, reinterpret_cast<char const*>(data), size);
    readRecordingFully<cBinInputFile>(path);
    return 0;
}
