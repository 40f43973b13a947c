#include "StoreKit/cConfigurationGroup.h"

#include "BaseKit/cKynException.h"

#include <utility>

namespace
{
char const* const g_source = "StoreKit/cConfigurationGroup";
} // namespace

cConfigurationGroup::cConfigurationGroup(std::string name) : m_name(std::move(name)) {}

cConfigurationGroup::cConfigurationGroup(cConfigurationGroup const& other)
    : cObjectToStoreInfo(other), m_name(other.m_name), m_lineNumber(other.m_lineNumber),
      m_sourceFile(other.m_sourceFile)
{
    m_subGroups.reserve(other.m_subGroups.size());
    for (auto const& child : other.m_subGroups)
    {
        m_subGroups.push_back(std::make_unique<cConfigurationGroup>(*child));
    }
}

cConfigurationGroup& cConfigurationGroup::operator=(cConfigurationGroup const& other)
{
    // The copy is complete before anything of this group goes, so that assigning a group from
    // itself or from one of its own subgroups is safe.
    cConfigurationGroup copy(other);
    *this = std::move(copy);
    return *this;
}

cConfigurationGroup::cConfigurationGroup(cConfigurationGroup&& other) noexcept = default;

cConfigurationGroup& cConfigurationGroup::operator=(cConfigurationGroup&& other) noexcept
{
    if (this != &other)
    {
        cObjectToStoreInfo::operator=(std::move(other));
        m_name = std::move(other.m_name);
        m_lineNumber = other.m_lineNumber;
        m_sourceFile = std::move(other.m_sourceFile);
        m_subGroups = std::move(other.m_subGroups);
    }
    return *this;
}

cConfigurationGroup::~cConfigurationGroup() = default;

void cConfigurationGroup::clear()
{
    informationItems().clear();
    m_subGroups.clear();
}

std::string const& cConfigurationGroup::getSourceFile() const
{
    static std::string const none;
    return m_sourceFile ? *m_sourceFile : none;
}

void cConfigurationGroup::setOrigin(int lineNumber, std::shared_ptr<std::string const> sourceFile)
{
    m_lineNumber = lineNumber;
    m_sourceFile = std::move(sourceFile);
}

cConfigurationGroup const* cConfigurationGroup::findSubGroup(std::string const& name) const
{
    for (auto const& child : m_subGroups)
    {
        if (child->getName() == name)
        {
            return child.get();
        }
    }
    return nullptr;
}

cConfigurationGroup const* cConfigurationGroup::groupForFindItem(std::string const& groupName,
                                                                 bool mandatory) const
{
    if (groupName.empty())
    {
        return this;
    }
    cConfigurationGroup const* group = findSubGroup(groupName);
    if (!group && mandatory)
    {
        throw cMissingItem(g_source, "cConfigurationGroup::findItem", __LINE__, groupName, "group",
                           describeLocation());
    }
    return group;
}

template <typename T>
int cConfigurationGroup::findItemOfType(std::string const& groupName, std::string const& key, T& value,
                                        bool mandatory, bool hexadecimal, int line) const
{
    cConfigurationGroup const* group = groupForFindItem(groupName, mandatory);
    if (!group)
    {
        return 0;
    }
    return group->lookUpValue(key, value, mandatory, hexadecimal, g_source, "cConfigurationGroup::findItem",
                              line);
}

#define KYN_FIND_ITEM(Type)                                                                                  \
    int cConfigurationGroup::findItem(std::string const& groupName, std::string const& key, Type& value,     \
                                      bool mandatory) const                                                  \
    {                                                                                                        \
        return findItemOfType(groupName, key, value, mandatory, false, __LINE__);                            \
    }

KYN_FIND_ITEM(std::string)
KYN_FIND_ITEM(float)
KYN_FIND_ITEM(bool)
KYN_FIND_ITEM(mpf_class)
KYN_FIND_ITEM(int)
KYN_FIND_ITEM(unsigned int)
KYN_FIND_ITEM(double)

#undef KYN_FIND_ITEM

int cConfigurationGroup::findItem(std::string const& groupName, std::string const& key, long& value,
                                  bool mandatory, bool hexadecimal) const
{
    return findItemOfType(groupName, key, value, mandatory, hexadecimal, __LINE__);
}

cConfigurationGroup* cConfigurationGroup::findConfigurationGroup(std::string const& name, bool mandatory)
{
    return const_cast<cConfigurationGroup*>(std::as_const(*this).findConfigurationGroup(name, mandatory));
}

cConfigurationGroup const* cConfigurationGroup::findConfigurationGroup(std::string const& name,
                                                                       bool mandatory) const
{
    cConfigurationGroup const* group = findSubGroup(name);
    if (!group && mandatory)
    {
        throw cMissingItem(g_source, "cConfigurationGroup::findConfigurationGroup", __LINE__, name, "group",
                           describeLocation());
    }
    return group;
}

cConfigurationGroup* cConfigurationGroup::firstConfigurationGroup(unsigned int& cursor) const
{
    cursor = 0;
    return m_subGroups.empty() ? nullptr : m_subGroups.front().get();
}

cConfigurationGroup* cConfigurationGroup::nextConfigurationGroup(unsigned int& cursor) const
{
    if (cursor < m_subGroups.size())
    {
        ++cursor;
    }
    return cursor < m_subGroups.size() ? m_subGroups[cursor].get() : nullptr;
}

std::vector<cConfigurationGroup*> cConfigurationGroup::GetConfigurationGroups() const
{
    std::vector<cConfigurationGroup*> groups;
    groups.reserve(m_subGroups.size());
    for (auto const& child : m_subGroups)
    {
        groups.push_back(child.get());
    }
    return groups;
}

void cConfigurationGroup::addConfigurationGroup(cConfigurationGroup* group)
{
    if (!group || group == this)
    {
        throw cGenericException(g_source, "cConfigurationGroup::addConfigurationGroup", __LINE__,
                                group ? "Group \"" + m_name + "\" cannot contain itself."
                                      : "A null group cannot be added to group \"" + m_name + "\".");
    }
    // Owned from here on, also when the list cannot grow.
    std::unique_ptr<cConfigurationGroup> owned(group);
    m_subGroups.push_back(std::move(owned));
}

void cConfigurationGroup::clearSubGroupsWithoutDeallocating()
{
    for (auto& child : m_subGroups)
    {
        // Ownership went to the caller, who received the pointers before this call.
        static_cast<void>(child.release());
    }
    m_subGroups.clear();
}

int cConfigurationGroup::replaceString(std::string const& oldText, std::string const& newText)
{
    for (sInformationItem& item : informationItems())
    {
        if (item.value == oldText)
        {
            item.value = newText;
            return 1;
        }
    }
    return 0;
}
