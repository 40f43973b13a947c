// cInputFile: a crash recording, the list of its sensor channels. The crash input formats derive from
// it and read their channel directory when they open; a recording built in memory (a synthetic crash
// pulse, a test signal) is this class itself, whose channels are added by the caller.
#pragma once
#include "BaseKit/cStorage.h"
#include "StoreKit/cGlobalFile.h"

#include <map>
#include <string>
#include <vector>

class cChannelInput;
class cConfigurationGroup;

class cInputFile : public cGlobalFile
{
public:
    explicit cInputFile(std::string fileName = std::string());
    // Owns its channels: a copy would delete them twice.
    cInputFile(cInputFile const&) = delete;
    cInputFile& operator=(cInputFile const&) = delete;
    // Deletes the channels.
    ~cInputFile() override;

    // Makes the channels the project declares reachable by their project names. channelMapping (the
    // group "Channel Name Mapping", may be null) renames: an item "ACU_X = 10TUNN000000ACXP" lets the
    // project channel ACU_X read the recorded channel 10TUNN000000ACXP; a name without an item is
    // looked up as it stands. Samples are not read here: each channel fetches its own on first use.
    // 1 when every declared channel is there; otherwise 0 and, when errorText is given, one line per
    // missing channel appended to it.
    virtual int load(std::vector<std::string> const& declaredChannels,
                     cConfigurationGroup const* channelMapping, std::string* errorText);
    // Gives the samples' memory back until they are next asked for; channels made in memory keep
    // theirs, since they could not be read again.
    virtual void release();

    unsigned int getChannelInputSize() const { return m_channels.size(); }
    // Takes ownership of the channel.
    void addChannelInput(cChannelInput* const channel);
    cChannelInput* firstChannelInput(unsigned int& cursor) const { return m_channels.first(cursor); }
    cChannelInput* nextChannelInput(unsigned int& cursor) const { return m_channels.next(cursor); }
    // The channel a project name stands for after load (through the mapping), else the first channel
    // of that very name, or null.
    cChannelInput* findChannelInput(std::string const& name) const;

private:
    cStorage<cChannelInput*> m_channels{10};
    // Project channel name -> recorded channel, filled by load for the renamed channels.
    std::map<std::string, cChannelInput*> m_projectNames;
};
