#include "StoreKit/CSensorDefectChannelConfiguration.h"

#include "StoreKit/CSensorDefect.h"

#include <memory>

CSensorDefectChannelConfiguration::CSensorDefectChannelConfiguration(float startOfChannel, float endOfChannel)
    : m_start(startOfChannel), m_end(endOfChannel)
{
}

CSensorDefectChannelConfiguration::~CSensorDefectChannelConfiguration()
{
    clearDefects();
}

void CSensorDefectChannelConfiguration::addDefect(CSensorDefect* defect)
{
    std::unique_ptr<CSensorDefect> owned(defect);
    m_defects.add(defect);
    owned.release();
}

void CSensorDefectChannelConfiguration::clearDefects()
{
    for (unsigned int i = 0; i < m_defects.size(); ++i)
        delete m_defects[i];
    m_defects.clear();
}

CSensorDefect* CSensorDefectChannelConfiguration::findDefect(std::string const& name) const
{
    for (unsigned int i = 0; i < m_defects.size(); ++i)
        if (m_defects[i]->getDefectName() == name)
            return m_defects[i];
    return nullptr;
}
