// CSensorDefectChannelConfiguration: the defects of one channel of one crash file, with the span of the
// channel (its first and last sample time in milliseconds) that a defect is checked against.
#pragma once
#include "BaseKit/cStorage.h"

#include <string>

class CSensorDefect;

class CSensorDefectChannelConfiguration
{
public:
    CSensorDefectChannelConfiguration(float startOfChannel, float endOfChannel);
    // Owns its defects.
    CSensorDefectChannelConfiguration(CSensorDefectChannelConfiguration const&) = delete;
    CSensorDefectChannelConfiguration& operator=(CSensorDefectChannelConfiguration const&) = delete;
    ~CSensorDefectChannelConfiguration();

    float getStartOfChannel() const { return m_start; }
    float getEndOfChannel() const { return m_end; }
    // Takes ownership; kept in the order added.
    void addDefect(CSensorDefect* defect);
    // Deletes every defect.
    void clearDefects();
    cStorage<CSensorDefect*> const& getDefects() const { return m_defects; }
    // The first defect of that name, or null.
    CSensorDefect* findDefect(std::string const& name) const;

private:
    float m_start;
    float m_end;
    cStorage<CSensorDefect*> m_defects{4};
};
