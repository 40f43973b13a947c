#include "CalcKit/CPreProcessor.h"

#include "BaseKit/cKynException.h"
#include "CalcKit/CBasicPreProcessors.h"
#include "CalcKit/CCfcFilter.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace
{
char const* const kSource = "CalcKit/CPreProcessor";

std::string describe(std::string const& name, std::string const& type)
{
    return "Preprocessor \"" + name + "\" of type \"" + type + "\": ";
}

template <class T> std::unique_ptr<CPreProcessor> make(std::string const& name)
{
    return std::make_unique<T>(name);
}

struct sPreProcessorType
{
    char const* type;
    std::unique_ptr<CPreProcessor> (*create)(std::string const& name);
};

constexpr std::array<sPreProcessorType, 11> kTypes = {{
    {CGainPreProcessor::kTypeName, &make<CGainPreProcessor>},
    {COffsetPreProcessor::kTypeName, &make<COffsetPreProcessor>},
    {CLinearPreProcessor::kTypeName, &make<CLinearPreProcessor>},
    {CSaturationPreProcessor::kTypeName, &make<CSaturationPreProcessor>},
    {CQuantizationPreProcessor::kTypeName, &make<CQuantizationPreProcessor>},
    {CResamplePreProcessor::kTypeName, &make<CResamplePreProcessor>},
    {CDelayPreProcessor::kTypeName, &make<CDelayPreProcessor>},
    {CMovingAveragePreProcessor::kTypeName, &make<CMovingAveragePreProcessor>},
    {CIntegratorPreProcessor::kTypeName, &make<CIntegratorPreProcessor>},
    {CLowPassPreProcessor::kTypeName, &make<CLowPassPreProcessor>},
    {CCfcFilter::kTypeName, &make<CCfcFilter>},
}};
} // namespace

CPreProcessor::CPreProcessor(std::string name, std::string type)
    : m_name(std::move(name)), m_type(std::move(type))
{
}

CPreProcessor::~CPreProcessor() = default;

void CPreProcessor::clearParameters()
{
    m_parameters.clear();
    m_ready = false;
}

void CPreProcessor::addParameter(mpf_class const& value)
{
    m_parameters.push_back(value);
    m_ready = false;
}

void CPreProcessor::setParameter(unsigned int index, mpf_class const& value)
{
    if (index >= m_parameters.size())
        throw cBadListIndex(kSource, "CPreProcessor::setParameter", __LINE__);
    // Writing the value already there is no change: the object stays ready. A parameter that a
    // preprocessor feeds back to itself through its owner thus costs no second reset.
    if (m_parameters[index] == value)
        return;
    m_parameters[index] = value;
    m_ready = false;
}

mpf_class CPreProcessor::getParameter(unsigned int index) const
{
    if (index >= m_parameters.size())
        throw cBadListIndex(kSource, "CPreProcessor::getParameter", __LINE__);
    return m_parameters[index];
}

void CPreProcessor::reset()
{
    // The derived reset() checks and converts its parameters first and ends here, so a failed
    // check leaves the object not ready and the next Calculate tries again.
    m_ready = true;
}

void CPreProcessor::Calculate(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                              cStorage<char>& status, unsigned int index)
{
    if (!m_ready)
        reset();
    status.clear();
    if (in.empty())
        return;

    if (out.empty())
    {
        float const previousRate = out.getSamplingRate();
        long const previousT0 = out.getT0();
        out.setSamplingRate(in.getSamplingRate());
        out.setT0(in.getT0());
        try
        {
            process(in, out, status, index);
        }
        catch (...)
        {
            // A failed signal leaves the caller's storages as they were.
            out.clear();
            out.setSamplingRate(previousRate);
            out.setT0(previousT0);
            status.clear();
            throw;
        }
        return;
    }

    // out already holds a signal: the result goes behind it, through the scratch signal, which also
    // keeps the input intact when out is the input itself.
    m_scratch.clear();
    m_scratch.setSamplingRate(in.getSamplingRate());
    m_scratch.setT0(in.getT0());
    try
    {
        process(in, m_scratch, status, index);
        // Appended in one step, which leaves out as it was when the memory is not there.
        unsigned int const count = m_scratch.size();
        std::copy_n(m_scratch.data(), count, out.addUninitialised(count));
    }
    catch (...)
    {
        status.clear();
        throw;
    }
    out.setSamplingRate(m_scratch.getSamplingRate());
    out.setT0(m_scratch.getT0());
}

void CPreProcessor::fail(std::string const& what) const
{
    throw cIncompatibleParametersException(kSource, "CPreProcessor::fail", __LINE__,
                                           "preprocessor \"" + m_name + "\" of type \"" + m_type +
                                               "\": " + what);
}

void CPreProcessor::requireParameters(std::vector<char const*> const& names) const
{
    if (m_parameters.size() == names.size())
        return;
    std::string list;
    for (char const* name : names)
        list += (list.empty() ? "" : ", ") + std::string(name);
    fail("takes " + std::to_string(names.size()) + (names.size() == 1 ? " parameter (" : " parameters (") +
         list + "), " + std::to_string(m_parameters.size()) + " given");
}

void CPreProcessor::requireSamplingRate(cSignalStorage<float> const& in) const
{
    // Written so that a NaN rate fails too.
    if (!(in.getSamplingRate() > 0.0f))
        fail("the input signal has no sampling rate.");
}

CPreProcessor* createPreProcessor(std::string const& name, std::string const& type,
                                  std::string const& ecuFilePath)
{
    // None of the present types reads ECU files; the path is part of the factory's contract for
    // those that will.
    (void)ecuFilePath;
    for (sPreProcessorType const& entry : kTypes)
        if (type == entry.type)
            return entry.create(name).release();
    throw cGenericException(kSource, "createPreProcessor", __LINE__,
                            describe(name, type) + "unknown preprocessor type.");
}
