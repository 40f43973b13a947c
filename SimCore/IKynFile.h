// IKynFile: the host's view of one crash file of the study: its path, the read of its channels and
// the write of its recording. cKynFile is the implementation; a host keeps to these operations, whose
// order is the slot order the host was built against.
#pragma once
#include <string>

class IKynFile
{
public:
    virtual ~IKynFile() = default;
    // The path of the recording.
    virtual std::string getFileName() const = 0;
    // Reads the channels the project declares; 1 when all are there, else 0 with the reasons appended to
    // errorText (when given).
    virtual int load(std::string* errorText) = 0;
    // Writes the recording back to its path in its format; 1 when written.
    virtual int save() = 0;
};
