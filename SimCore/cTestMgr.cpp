#include "SimCore/cTestMgr.h"

#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"

cTestMgr::cTestMgr(std::string testName) : m_logger("Test"), m_testName(std::move(testName)) {}

cTestMgr::~cTestMgr() = default;

void cTestMgr::setPathInformationGeneration(std::string a, std::string b, std::string c, std::string d)
{
    // The host's report generator reads the texts in this order.
    m_paths[0] = std::move(a);
    m_paths[1] = std::move(d);
    m_paths[2] = std::move(c);
    m_paths[3] = std::move(b);
    m_pathInformationSet = true;
}

void cTestMgr::setCSVPathInformationGeneration(std::string a, std::string b, std::string c)
{
    m_paths[2] = std::move(a);
    m_paths[1] = std::move(b);
    m_generationLabel = std::move(c);
    m_pathInformationSet = true;
}

void cTestMgr::toggleMaintainData(cKynMultiPreprocessingItem const* item)
{
    if (item == nullptr)
        return;
    if (m_maintainData.erase(item) == 0)
        m_maintainData.insert(item);
}

void cTestMgr::addAllMppItemsToMaintainData()
{
    if (myActiveMultiPreprocessingMgr == nullptr)
        return;
    for (cKynMultiPreprocessingItem const* item : myActiveMultiPreprocessingMgr->getMultiPpItems())
        if (item != nullptr)
            m_maintainData.insert(item);
}

cKynMultiPreprocessingItem const* cTestMgr::getFirstMaintainDataMppItem() const
{
    return m_maintainData.empty() ? nullptr : *m_maintainData.begin();
}

bool cTestMgr::checkForMaintainData(cKynMultiPreprocessingItem const* item) const
{
    return m_maintainData.count(item) != 0;
}

bool cTestMgr::checkForMaintainData(cKynFile const* file) const
{
    cKynMultiPreprocessingItem const* const item = file != nullptr && myActiveMultiPreprocessingMgr != nullptr
                                                       ? myActiveMultiPreprocessingMgr->findMppItem(file)
                                                       : nullptr;
    // A file of no item asks for the null entry, which nothing puts in the set.
    return m_maintainData.count(item) != 0;
}
