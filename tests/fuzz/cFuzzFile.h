// What the fuzz targets of the crash recording readers share: the input becomes a file in a folder of
// the process's own, and the recording is read as a crash file list reads it, every sample included.
// Only exceptions of the cKynException family are expected; anything else (a crash, a sanitizer
// report, another exception) is a finding.
#pragma once
#include "BaseKit/cKynException.h"
#include "StoreKit/cAcquisitionInputFile.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

inline std::string fuzzFolder()
{
    static std::string const folder = []
    {
        std::filesystem::path const path =
            std::filesystem::temp_directory_path() / ("simcore-fuzz-" + std::to_string(::getpid()));
        std::filesystem::create_directories(path);
        return path.string() + "/";
    }();
    return folder;
}

inline void writeFuzzFile(std::string const& path, char const* data, size_t size)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(data, static_cast<std::streamsize>(size));
}

template <class tRecording> void readRecordingFully(std::string const& path)
{
    try
    {
        tRecording file(path.c_str(), 0x21);
        if (!file.isOpen())
            return;
        file.read();
        file.closeStream();
        unsigned int cursor = 0;
        for (cChannelInput* channel = file.firstChannelInput(cursor); channel != nullptr;
             channel = file.nextChannelInput(cursor))
        {
            float sum = 0.0f;
            for (float const sample : channel->getSamples())
                sum += sample;
            static_cast<void>(sum);
            static_cast<void>(channel->getEndTimeInMs());
        }
    }
    catch (cKynException const&)
    {
    }
}
