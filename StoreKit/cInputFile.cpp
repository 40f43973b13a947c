#include "StoreKit/cInputFile.h"

#include "StoreKit/cChannelInput.h"

#include <utility>

cInputFile::cInputFile(std::string fileName) : cGlobalFile(std::move(fileName)) {}

cInputFile::~cInputFile()
{
    for (unsigned int i = 0; i < m_channels.size(); ++i)
        delete m_channels[i];
}

int cInputFile::load(std::vector<std::string> const&, std::string*)
{
    return 1;
}

void cInputFile::release() {}

void cInputFile::addChannelInput(cChannelInput* const channel)
{
    m_channels.add(channel);
}

cChannelInput* cInputFile::findChannelInput(std::string const& name) const
{
    for (unsigned int i = 0; i < m_channels.size(); ++i)
        if (m_channels[i]->getName() == name)
            return m_channels[i];
    return nullptr;
}
