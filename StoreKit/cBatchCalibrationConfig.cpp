#include "StoreKit/cBatchCalibrationConfig.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"

#include <cctype>
#include <limits>
#include <memory>

namespace
{
char const* const kSource = "StoreKit/cBatchCalibrationConfig";
char const* const kSetFunction = "cBatchCalibrationConfig::setCombinationInformationAndGroups";

// Batch values are kept, named and written with this many decimals at most.
constexpr int kValueDecimals = 12;
// A range longer than this is a mistake of the step rather than a study anyone can run.
constexpr unsigned long kMaximumValuesPerParameter = 1000000;
constexpr unsigned long long kMaximumCombinations = std::numeric_limits<unsigned int>::max();

[[noreturn]] void refuse(char const* function, int line, std::string const& text)
{
    throw cBatchModeCreationFailedException(kSource, function, line, text);
}

// a * b, or false when the product passes the number of runs a batch can count.
bool multiplyWithinLimit(unsigned long long& a, unsigned long long b)
{
    if (b != 0 && a > kMaximumCombinations / b)
        return false;
    a *= b;
    return true;
}

// The "Parameter" group named name: group itself when it is one, else its first direct subgroup.
cConfigurationGroup const* findDescription(cConfigurationGroup const& group, std::string const& name)
{
    std::string found;
    if (group.getName() == "Parameter" && group.findItem("", "Name", found, false) != 0 && found == name)
        return &group;
    for (cConfigurationGroup const* subGroup : group.GetConfigurationGroups())
        if (subGroup->getName() == "Parameter" && subGroup->findItem("", "Name", found, false) != 0 &&
            found == name)
            return subGroup;
    return nullptr;
}
} // namespace

cBatchCalibrationConfig::cBatchCalibrationConfig(std::string const& name) : cConfigurationGroup(name) {}

void cBatchCalibrationConfig::clear()
{
    m_parameters.clear();
    m_groupCounts.clear();
    m_combinationNumber = 1;
    m_mapComputed = true;
    cConfigurationGroup::clear();
}

std::string cBatchCalibrationConfig::valueText(mpf_class const& value)
{
    std::string text;
    doubleToString(text, value, kValueDecimals);
    if (text.find('.') != std::string::npos)
    {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.')
            text.pop_back();
    }
    return text;
}

std::string cBatchCalibrationConfig::initialsOf(std::string const& name)
{
    std::string initials;
    bool inWord = false;
    bool previousLower = false;
    for (char const c : name)
    {
        unsigned char const u = static_cast<unsigned char>(c);
        if (std::isalnum(u) == 0)
        {
            inWord = false;
            previousLower = false;
            continue;
        }
        if (!inWord || (previousLower && std::isupper(u) != 0))
            initials += static_cast<char>(std::toupper(u));
        inWord = true;
        previousLower = std::islower(u) != 0;
    }
    return initials;
}

std::vector<mpf_class> cBatchCalibrationConfig::valuesOf(sBatchParameterValues const& record)
{
    // Rounded as written, so that the value a run names is the value its file holds.
    auto const rounded = [](mpf_class const& value) { return convertStringToDouble(valueText(value)); };
    std::vector<mpf_class> values;
    if (!record.values.empty())
    {
        if (record.values.size() > kMaximumValuesPerParameter)
            refuse(kSetFunction, __LINE__, "Too many values for parameter: " + record.name);
        for (mpf_class const& value : record.values)
            values.push_back(rounded(value));
        return values;
    }
    if (record.step <= 0 || record.minimum > record.maximum)
        refuse(kSetFunction, __LINE__, "No value for parameter: " + record.name);
    // A maximum that the steps reach but for the rounding of the step still counts.
    mpf_class const steps = floor(mpf_class((record.maximum - record.minimum) / record.step + 1e-9));
    if (steps >= kMaximumValuesPerParameter)
        refuse(kSetFunction, __LINE__, "Too many values for parameter: " + record.name);
    unsigned long const count = steps.get_ui() + 1;
    for (unsigned long k = 0; k < count; ++k)
        values.push_back(rounded(record.minimum + record.step * k));
    return values;
}

unsigned int
cBatchCalibrationConfig::setCombinationInformationAndGroups(cConfigurationGroup const* group,
                                                            stParamCombinations const& combinations)
{
    if (group == nullptr)
        refuse(kSetFunction, __LINE__, "Parameter group is missing");
    if (combinations.parameters.empty())
        refuse(kSetFunction, __LINE__, "Parameter group without parameter");
    auto copy = std::make_unique<cConfigurationGroup>(*group);
    unsigned int const groupIndex = static_cast<unsigned int>(m_groupCounts.size());
    std::vector<sParameter> added;
    for (sBatchParameterValues const& record : combinations.parameters)
    {
        sParameter parameter;
        parameter.name = record.name;
        parameter.initials = record.initials.empty() ? initialsOf(record.name) : record.initials;
        parameter.group = groupIndex;
        parameter.description = findDescription(*copy, record.name);
        if (parameter.description == nullptr)
            refuse(kSetFunction, __LINE__, "Parameter not described in its group: " + record.name);
        bool twice = findParameter(record.name) != nullptr;
        for (sParameter const& earlier : added)
            twice = twice || earlier.name == record.name;
        if (twice)
            refuse(kSetFunction, __LINE__, "Parameter given twice: " + record.name);
        parameter.values = valuesOf(record);
        added.push_back(std::move(parameter));
    }

    unsigned long long count = 1;
    if (combinations.together)
    {
        count = added.front().values.size();
        for (sParameter const& parameter : added)
            if (parameter.values.size() != count)
                refuse(kSetFunction, __LINE__,
                       "Parameters varying together take different numbers of values: " + parameter.name);
    }
    else
    {
        // The last parameter of the group varies the fastest.
        for (auto parameter = added.rbegin(); parameter != added.rend(); ++parameter)
        {
            parameter->strideInGroup = count;
            if (!multiplyWithinLimit(count, parameter->values.size()))
                refuse(kSetFunction, __LINE__,
                       "Too many combinations in the group of parameter: " + parameter->name);
        }
    }

    addConfigurationGroup(copy.release());
    for (sParameter& parameter : added)
        m_parameters.push_back(std::move(parameter));
    m_groupCounts.push_back(count);
    m_mapComputed = false;
    return static_cast<unsigned int>(count);
}

void cBatchCalibrationConfig::computeCombinationsMap()
{
    // The stride of each group is the product of the counts of the groups after it.
    std::vector<unsigned long long> strides(m_groupCounts.size(), 1);
    unsigned long long total = 1;
    for (size_t g = m_groupCounts.size(); g-- > 0;)
    {
        strides[g] = total;
        if (!multiplyWithinLimit(total, m_groupCounts[g]))
            refuse("cBatchCalibrationConfig::computeCombinationsMap", __LINE__,
                   "Too many combinations: more than " + std::to_string(kMaximumCombinations));
    }
    for (sParameter& parameter : m_parameters)
        parameter.stride = strides[parameter.group] * parameter.strideInGroup;
    m_combinationNumber = static_cast<unsigned int>(total);
    m_mapComputed = true;
}

unsigned int cBatchCalibrationConfig::getCombinationNumber()
{
    if (!m_mapComputed)
        computeCombinationsMap();
    return m_combinationNumber;
}

cBatchCalibrationConfig::sParameter const&
cBatchCalibrationConfig::parameterAt(unsigned int parameter, char const* function, int line) const
{
    if (parameter >= m_parameters.size())
        throw cBadListIndex(kSource, function, line);
    return m_parameters[parameter];
}

cBatchCalibrationConfig::sParameter const*
cBatchCalibrationConfig::findParameter(std::string const& name) const
{
    for (sParameter const& parameter : m_parameters)
        if (parameter.name == name)
            return &parameter;
    return nullptr;
}

std::string const& cBatchCalibrationConfig::getParameterName(unsigned int parameter) const
{
    return parameterAt(parameter, "cBatchCalibrationConfig::getParameterName", __LINE__).name;
}

bool cBatchCalibrationConfig::isBatchConfigurationParameter(std::string const& name) const
{
    return findParameter(name) != nullptr;
}

std::string cBatchCalibrationConfig::getInitialsOfParameter(unsigned int parameter) const
{
    return parameterAt(parameter, "cBatchCalibrationConfig::getInitialsOfParameter", __LINE__).initials;
}

mpf_class cBatchCalibrationConfig::getCurrentValueOfParameters(unsigned int combination,
                                                               unsigned int parameter)
{
    char const* const function = "cBatchCalibrationConfig::getCurrentValueOfParameters";
    sParameter const& p = parameterAt(parameter, function, __LINE__);
    if (combination >= getCombinationNumber())
        throw cBadListIndex(kSource, function, __LINE__);
    return p.values[(combination / p.stride) % p.values.size()];
}

bool cBatchCalibrationConfig::getGroupFromCombinationMap(cConfigurationGroup* group,
                                                         std::string const& name) const
{
    sParameter const* const parameter = findParameter(name);
    if (parameter == nullptr || group == nullptr)
        return false;
    for (sInformationItem const& item : parameter->description->getInformationRange())
        group->addInformation(item.key, item.value);
    return true;
}

bool cBatchCalibrationConfig::getGroupFromCombinationMap(cConfigurationGroup* group, std::string const& name,
                                                         unsigned int combination)
{
    sParameter const* const parameter = findParameter(name);
    if (parameter == nullptr || group == nullptr)
        return false;
    unsigned int const index = static_cast<unsigned int>(parameter - m_parameters.data());
    std::string const value = valueText(getCurrentValueOfParameters(combination, index));
    group->addInformation("Name", name);
    group->addInformation("Raw Value", value);
    std::string locked;
    if (parameter->description->findItemValue("No Deployment Locked", locked, false) != 0)
        group->addInformation("No Deployment Locked", false);
    return true;
}
