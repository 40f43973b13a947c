// The ordered list of keyed items of one group of a configuration file. Every owner reads its
// settings from here (findItemValue, or cConfigurationGroup::findItem) and writes them back with
// addInformation; the text form of each number is decided here so that what is written reads back.
// Items keep the line and the file they were read from, so that a bad value can be reported there.
#pragma once

#include "StoreKit/cObjectToStore.h"

#include <gmpxx.h>
#include <memory>
#include <string>
#include <vector>

// One item: its key, its value as text, the line at which it stood (0 for an item added in code)
// and the file it was read from (null for an item added in code).
struct sInformationItem
{
    std::string key;
    std::string value;
    int lineNumber = 0;
    std::shared_ptr<std::string const> sourceFile;
};

class cObjectToStoreInfo : public cObjectToStore
{
public:
    cObjectToStoreInfo() = default;
    cObjectToStoreInfo(cObjectToStoreInfo const&) = default;
    cObjectToStoreInfo& operator=(cObjectToStoreInfo const&) = default;
    cObjectToStoreInfo(cObjectToStoreInfo&&) noexcept = default;
    cObjectToStoreInfo& operator=(cObjectToStoreInfo&&) noexcept = default;
    ~cObjectToStoreInfo() override;

    // Appending an item; a key that is already there is added again after it, never replaced.
    void addInformation(std::string const& key, std::string const& value);
    void addInformation(std::string const& key, char const* value);
    // Written "1" or "0".
    void addInformation(std::string const& key, bool value);
    // Decimal, or with hexadecimal "0x" and upper-case digits in as few bytes as hold the value.
    // A negative value is then written in two's complement of that width and reads back as the
    // positive bit pattern unless it takes 8 bytes: the hexadecimal form is meant for bit patterns.
    void addInformation(std::string const& key, long value, bool hexadecimal = false);
    // Fixed notation with that many decimals, rounded half away from zero.
    void addInformation(std::string const& key, mpf_class const& value, int decimals);
    void addInformation(std::string const& key, int value);
    void addInformation(std::string const& key, unsigned int value);
    // 17 significant digits (%.17g), which read back to the same double.
    void addInformation(std::string const& key, double value);
    // Gives the first item of the key the value `value` (its line and file stay); false, with nothing
    // changed, when no item has the key.
    bool setInformationValue(std::string const& key, std::string const& value);
    // Appends an item as it stands, with its line and file; used by the reader and the templates.
    void addInformationItem(sInformationItem item);

    // Reads the first item of the key in this very list. 1 when found; 0 when absent, with value
    // untouched so that the caller's default stays. A missing key with mandatory set throws
    // cMissingItem; a text that does not read as the asked type throws cGenericException.
    // A bool reads "1", "0", "true", "false", "yes", "no", whatever their case and outer blanks;
    // hexadecimal digits may come with or without "0x".
    int findItemValue(std::string const& key, std::string& value, bool mandatory) const;
    int findItemValue(std::string const& key, bool& value, bool mandatory) const;
    int findItemValue(std::string const& key, long& value, bool mandatory, bool hexadecimal = false) const;
    int findItemValue(std::string const& key, mpf_class& value, bool mandatory) const;
    int findItemValue(std::string const& key, int& value, bool mandatory) const;
    int findItemValue(std::string const& key, unsigned int& value, bool mandatory) const;
    int findItemValue(std::string const& key, double& value, bool mandatory) const;
    int findItemValue(std::string const& key, float& value, bool mandatory) const;
    // The line at which the first item of the key stood (0 for an item added in code).
    int findItemLineNumber(std::string const& key, int& line, bool mandatory) const;

    // Walk in file order: null behind the last item. The pointers stay valid until the list changes.
    sInformationItem const* firstInformation(unsigned int& cursor) const;
    sInformationItem const* nextInformation(unsigned int& cursor) const;
    bool endOfInformationList(unsigned int cursor) const;
    bool informationListEmpty() const { return m_items.empty(); }
    unsigned int nbOfInformation() const { return static_cast<unsigned int>(m_items.size()); }
    std::vector<sInformationItem> const& getInformationRange() const { return m_items; }

protected:
    // The first item of the key, or null.
    sInformationItem const* findInformation(std::string const& key) const;
    std::vector<sInformationItem>& informationItems() { return m_items; }

    // Looks the key up and converts its value; a miss with mandatory set, or a bad text, throws
    // with the origin given, so that each public entry reports under its own name.
    template <typename T>
    int lookUpValue(std::string const& key, T& value, bool mandatory, bool hexadecimal, char const* source,
                    char const* function, int line) const;

    // "In group "G" (line n) of file "f"." with the parts that are known; "" when none is.
    std::string describeLocation() const;

private:
    std::vector<sInformationItem> m_items;
};
