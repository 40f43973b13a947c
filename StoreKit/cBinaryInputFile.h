// cBinaryInputFile: a crash recording read from a file on disk. It opens the file in the stream mode
// the caller gives (0x21: input and binary), tells whether that worked, and lets the formats read
// through the stream. After the recording's directory has been read the caller closes the stream, so
// that a long crash file list holds no file handles: samples are read later through streams of their
// own.
#pragma once
#include "StoreKit/cInputFile.h"

#include <fstream>
#include <string>

class cBinaryInputFile : public cInputFile
{
public:
    // Stream mode bits as the crash file list passes them: 0x01 input, 0x02 output, 0x20 binary.
    static constexpr int kModeInput = 0x01;
    static constexpr int kModeOutput = 0x02;
    static constexpr int kModeBinary = 0x20;

    // Opens path. When that fails, isOpen() is false and errno tells why (24: out of file handles).
    cBinaryInputFile(char const* path, int mode);
    ~cBinaryInputFile() override;

    bool isOpen() const { return m_stream.is_open(); }
    void closeStream();
    int getMode() const { return m_mode; }
    static std::ios::openmode toOpenMode(int mode);

protected:
    std::ifstream& stream() { return m_stream; }

private:
    int m_mode;
    std::ifstream m_stream;
};
