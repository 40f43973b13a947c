// cInputFile: a crash recording, the list of its sensor channels. The crash input formats derive from
// it and read their channels in load; a recording built in memory (a synthetic crash pulse, a test
// signal) is this class itself, whose channels are added by the caller and are always loaded.
#pragma once
#include "BaseKit/cStorage.h"
#include "StoreKit/cGlobalFile.h"
#include <string>
#include <vector>

class cChannelInput;

class cInputFile : public cGlobalFile
{
public:
    explicit cInputFile(std::string fileName = std::string());
    // Owns its channels: a copy would delete them twice.
    cInputFile(cInputFile const&) = delete;
    cInputFile& operator=(cInputFile const&) = delete;
    // Deletes the channels.
    ~cInputFile() override;

    // Reads the samples of the channels the project declares; 1 on success, 0 with the reason
    // appended to errorText (when given). A recording in memory has nothing to read: 1.
    virtual int load(std::vector<std::string> const& declaredChannels, std::string* errorText);
    // Gives the samples' memory back until the next load; a recording in memory keeps them, since it
    // could not read them again.
    virtual void release();

    unsigned int getChannelInputSize() const { return m_channels.size(); }
    // Takes ownership of the channel.
    void addChannelInput(cChannelInput* const channel);
    cChannelInput* firstChannelInput(unsigned int& cursor) const { return m_channels.first(cursor); }
    cChannelInput* nextChannelInput(unsigned int& cursor) const { return m_channels.next(cursor); }
    // The first channel of that name, or null.
    cChannelInput* findChannelInput(std::string const& name) const;

private:
    cStorage<cChannelInput*> m_channels{10};
};
