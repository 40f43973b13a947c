// Fuzzes the reader of the configuration text files (project, unit, file list, calibration ...).
#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cConfigurationReader.h"
#include "StoreKit/cConfigurationWriter.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    cConfigurationGroup top;
    sConfigurationHeader header;
    try
    {
        header = cConfigurationReader::read(text, "fuzz.cfg", top);
    }
    catch (cKynException const&)
    {
        return 0;
    }
    // What was read must write and read back: a failure here escapes and is reported as a finding.
    std::string const written = cConfigurationWriter::write(top, &header);
    cConfigurationGroup again;
    cConfigurationReader::read(written, "fuzz.cfg", again);
    return 0;
}
