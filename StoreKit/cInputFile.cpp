#include "StoreKit/cInputFile.h"

#include "StoreKit/cChannelInput.h"
#include "StoreKit/cConfigurationGroup.h"

#include <utility>

cInputFile::cInputFile(std::string fileName) : cGlobalFile(std::move(fileName)) {}

cInputFile::~cInputFile()
{
    for (unsigned int i = 0; i < m_channels.size(); ++i)
        delete m_channels[i];
}

int cInputFile::load(std::vector<std::string> const& declaredChannels,
                     cConfigurationGroup const* channelMapping, std::string* errorText)
{
    m_projectNames.clear();
    int result = 1;
    for (std::string const& name : declaredChannels)
    {
        std::string recorded = name;
        if (channelMapping != nullptr)
            channelMapping->findItem("", name, recorded, false);
        cChannelInput* channel = nullptr;
        for (unsigned int i = 0; i < m_channels.size() && channel == nullptr; ++i)
            if (m_channels[i]->getName() == recorded)
                channel = m_channels[i];
        if (channel == nullptr)
        {
            result = 0;
            if (errorText != nullptr)
                *errorText += getFileName() + ": no channel " +
                              (recorded == name ? name : recorded + " (project channel " + name + ")") + "\n";
            continue;
        }
        if (recorded != name)
            m_projectNames[name] = channel;
    }
    return result;
}

void cInputFile::release()
{
    for (unsigned int i = 0; i < m_channels.size(); ++i)
        m_channels[i]->releaseSamples();
}

void cInputFile::addChannelInput(cChannelInput* const channel)
{
    m_channels.add(channel);
}

cChannelInput* cInputFile::findChannelInput(std::string const& name) const
{
    auto const renamed = m_projectNames.find(name);
    if (renamed != m_projectNames.end())
        return renamed->second;
    for (unsigned int i = 0; i < m_channels.size(); ++i)
        if (m_channels[i]->getName() == name)
            return m_channels[i];
    return nullptr;
}
