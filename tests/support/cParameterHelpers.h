// Helpers of the parameter-model suites: groups read from text, a parameter's values as numbers,
// raw setters without update, storages as vectors and a drift parameter list loaded by name.
#pragma once

#include "SimCore/cDriftParameter.h"
#include "StoreKit/cConfigurationReader.h"
#include "tests/support/cConfigurationTexts.h"

#include <string>
#include <vector>

inline cConfigurationGroup readGroup(std::string const& text, std::string const& name = "Parameter")
{
    cConfigurationGroup group(name);
    cConfigurationReader::read(text, "test.cfg", group);
    return group;
}

// The entries of a storage, to compare them as a whole.
template <class T> std::vector<T> toVector(cStorage<T> const& storage)
{
    return std::vector<T>(storage.data(), storage.data() + storage.size());
}

// A float parameter registered in the active symbol manager, which holds its link; keys add to or
// override the first ones read.
inline cParameter* newVariable(std::string const& name, std::string const& keys = "")
{
    cConfigurationGroup group =
        readGroup("Name = " + name + "\n" + keys + "Float = 1\nSymbol Registered = 1\n");
    return new cParameter(&group, "");
}

inline mpf_class rawOf(cParameter const* p)
{
    mpf_class value;
    p->getRawValue(value);
    return value;
}
inline double convertedOf(cParameter const* p)
{
    mpf_class value;
    p->getConvertedValue(value);
    return value.get_d();
}
// setRawValue without an update of the linked symbols: clamped to the limits, or stored as given.
template <class T> bool setLimited(cParameter* p, T value)
{
    return p->setRawValue(value, /*update=*/false, /*applyLimits=*/true);
}
template <class T> bool setUnlimited(cParameter* p, T value)
{
    return p->setRawValue(value, /*update=*/false, /*applyLimits=*/false);
}
template <class tParameter> std::vector<double> rawsOf(std::vector<tParameter*> const& parameters)
{
    std::vector<double> values;
    for (tParameter const* p : parameters)
        values.push_back(rawOf(p).get_d());
    return values;
}

// The drift parameter list of a stage with its protected side opened.
class cTestDriftList : public cDriftParameterMgr
{
public:
    cTestDriftList() : cDriftParameterMgr("Parameter", "Parameters List") {}
    using cDriftParameterMgr::changeFile, cDriftParameterMgr::endOfIteration, cDriftParameterMgr::reset,
        cDriftParameterMgr::isProcessed, cDriftParameterMgr::getTotalDriftCombinations;

    // One element per name with these keys, default range -4 to 40 by 2; returns the whole list.
    std::vector<cDriftParameter*> load(std::vector<std::string> const& names, std::string const& keys)
    {
        std::string text;
        for (std::string const& name : names)
            text += "Parameter {\nName = " + name + "\n" + keys +
                    "Default Maximum Value = 40\nDefault Minimum Value = -4\nStep = 2\n}\n";
        cConfigurationGroup group = readGroup(text, "");
        loadParameter(&group, "");
        return std::vector<cDriftParameter*>(GetParameters().begin(), GetParameters().end());
    }
};
