// Helpers of the StoreKit tests: whole files as text, and the items of a configuration group in one
// line, so that a test compares keys, values, lines and order in one assertion.
#pragma once

#include "StoreKit/cConfigurationGroup.h"

#include <fstream>
#include <sstream>
#include <string>

inline std::string readText(std::string const& path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline void writeText(std::string const& path, std::string const& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// "key=value@line;" for each item of the group, in order.
inline std::string itemsOf(cConfigurationGroup const& group)
{
    std::string items;
    for (sInformationItem const& item : group.getInformationRange())
        items += item.key + "=" + item.value + "@" + std::to_string(item.lineNumber) + ";";
    return items;
}
