#include "Host/RecordingFiles.h"

#include "StoreKit/cBinInputFile.h"
#include "StoreKit/cCshInputFile.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace
{
std::string lowerExtension(std::string const& path)
{
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}
} // namespace

std::string recordingWriteProblem(std::string const& path)
{
    std::string const extension = lowerExtension(path);
    if (extension == ".csh" || extension == ".bin")
        return std::string();
    if (extension == ".mme")
        return "ISO-MME is read only; write .csh or .bin";
    return "no recording format; write .csh or .bin";
}

void writeRecordingFile(cInputFile const& recording, std::string const& path)
{
    if (lowerExtension(path) == ".bin")
        cBinInputFile::writeFile(recording, path);
    else
        cCshInputFile::writeFile(recording, path);
}
