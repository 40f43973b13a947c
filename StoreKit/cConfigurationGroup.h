// One group of a configuration file: a name, the keyed items of its base, and the ordered groups
// it contains, several of which may bear one name ("Parameter", "Channel"). Every file-configured
// object of the system reads its settings from such a tree and builds one to save them. A group
// owns its subgroups and remembers the line and the file it was read from, for error reports.
#pragma once

#include "StoreKit/cObjectToStoreInfo.h"

#include <gmpxx.h>
#include <memory>
#include <string>
#include <vector>

class cConfigurationGroup : public cObjectToStoreInfo
{
public:
    explicit cConfigurationGroup(std::string name = std::string());
    // Deep copies: items, subgroups, name, line and source file; the copy owns its own subgroups.
    cConfigurationGroup(cConfigurationGroup const& other);
    cConfigurationGroup& operator=(cConfigurationGroup const& other);
    cConfigurationGroup(cConfigurationGroup&& other) noexcept;
    cConfigurationGroup& operator=(cConfigurationGroup&& other) noexcept;
    ~cConfigurationGroup() override;

    // Empties the group: its items, and its subgroups, which are deleted. Name and origin stay.
    // The first virtual operation of the class: derived stores rely on its place.
    virtual void clear();

    std::string const& getName() const { return m_name; }
    void setName(std::string const& name) { m_name = name; }
    // The line at which the group was opened in its file; 0 for a group made in code.
    int getLineNumber() const { return m_lineNumber; }
    // The path of the file the group was read from; "" for a group made in code.
    std::string const& getSourceFile() const;
    std::shared_ptr<std::string const> const& getSharedSourceFile() const { return m_sourceFile; }
    void setOrigin(int lineNumber, std::shared_ptr<std::string const> sourceFile);

    // Reads a key of the first subgroup named groupName, or of this group when groupName is empty.
    // 1 when found; 0 when the key or the subgroup is absent, with value untouched. With mandatory
    // set an absent key or subgroup throws cMissingItem naming the group and the file; a text that
    // does not read as the asked type throws cGenericException naming value, key, group, line and
    // file. Texts read as by findItemValue.
    int findItem(std::string const& groupName, std::string const& key, std::string& value,
                 bool mandatory) const;
    int findItem(std::string const& groupName, std::string const& key, long& value, bool mandatory,
                 bool hexadecimal = false) const;
    int findItem(std::string const& groupName, std::string const& key, float& value, bool mandatory) const;
    int findItem(std::string const& groupName, std::string const& key, bool& value, bool mandatory) const;
    int findItem(std::string const& groupName, std::string const& key, mpf_class& value,
                 bool mandatory) const;
    int findItem(std::string const& groupName, std::string const& key, int& value, bool mandatory) const;
    int findItem(std::string const& groupName, std::string const& key, unsigned int& value,
                 bool mandatory) const;
    int findItem(std::string const& groupName, std::string const& key, double& value, bool mandatory) const;

    // The first direct subgroup of that name; null when absent, cMissingItem when mandatory.
    cConfigurationGroup* findConfigurationGroup(std::string const& name, bool mandatory);
    cConfigurationGroup const* findConfigurationGroup(std::string const& name, bool mandatory) const;

    // Walk over the direct subgroups in file order: null behind the last.
    cConfigurationGroup* firstConfigurationGroup(unsigned int& cursor) const;
    cConfigurationGroup* nextConfigurationGroup(unsigned int& cursor) const;
    // The direct subgroups in file order, as a snapshot: adding a group later does not change it.
    std::vector<cConfigurationGroup*> GetConfigurationGroups() const;
    unsigned int GetChildCount() const { return static_cast<unsigned int>(m_subGroups.size()); }

    // Appends a subgroup and takes ownership of it. A null group, or the group itself, is refused
    // with cGenericException.
    void addConfigurationGroup(cConfigurationGroup* group);
    // Forgets the subgroups without deleting them: the caller has taken them over (or lent them).
    void clearSubGroupsWithoutDeallocating();

    // In this group's own items, gives the first item whose value is exactly oldText the value
    // newText; keys, lines and everything else stay. The number of replacements, 0 or 1.
    int replaceString(std::string const& oldText, std::string const& newText);

private:
    cConfigurationGroup const* findSubGroup(std::string const& name) const;
    // The group whose key findItem reads, or null; throws for a mandatory subgroup that is absent.
    cConfigurationGroup const* groupForFindItem(std::string const& groupName, bool mandatory) const;
    template <typename T>
    int findItemOfType(std::string const& groupName, std::string const& key, T& value, bool mandatory,
                       bool hexadecimal, int line) const;

    std::string m_name;
    int m_lineNumber = 0;
    std::shared_ptr<std::string const> m_sourceFile;
    std::vector<std::unique_ptr<cConfigurationGroup>> m_subGroups;
};
