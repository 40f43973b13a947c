// The cost of a parameter's conversions, which the pipeline pays at every read and write: the
// conversion factor is an equation evaluated at each use, folded to one constant node in the usual
// case, or following another registered parameter.
#include "SimCore/cParameter.h"

#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationGroup.h"

#include <benchmark/benchmark.h>

namespace
{
cParameter* makeParameter(std::string const& name, std::string const& factor, bool registered)
{
    cConfigurationGroup group("Parameter");
    group.addInformation("Name", name);
    group.addInformation("Conversion Factor", factor);
    group.addInformation("Raw Value", std::string("100"));
    group.addInformation("Symbol Registered", registered);
    cParameter* parameter = new cParameter(&group, "Bench");
    parameter->createLink();
    return parameter;
}

// A symbol manager with "gain" registered, and the measured parameter with the given factor.
class cParameterBenchSet
{
public:
    explicit cParameterBenchSet(std::string const& factor)
    {
        myActiveSymbolManager = new cSymbolManager;
        myActiveSymbolManager->setConfiguration("");
        m_gain = makeParameter("gain", "0.001", true);
        m_measured = makeParameter("measured", factor, false);
    }
    ~cParameterBenchSet()
    {
        cParameter::deleteInstance(m_measured);
        cParameter::deleteInstance(m_gain);
        delete myActiveSymbolManager;
        myActiveSymbolManager = nullptr;
    }
    cParameterBenchSet(cParameterBenchSet const&) = delete;
    cParameterBenchSet& operator=(cParameterBenchSet const&) = delete;

    cParameter& measured() { return *m_measured; }

private:
    cParameter* m_gain = nullptr;
    cParameter* m_measured = nullptr;
};

char const* const kConstantFactor = "*(0.5, 0.25)";
char const* const kVariableFactor = "*(gain, 0.25)";

void getConvertedValue(benchmark::State& state, char const* factor)
{
    cParameterBenchSet set(factor);
    mpf_class value;
    for (auto _ : state)
    {
        set.measured().getConvertedValue(value);
        benchmark::DoNotOptimize(value.get_mpf_t());
    }
}

void setRawValue(benchmark::State& state, char const* factor)
{
    cParameterBenchSet set(factor);
    mpf_class const values[] = {mpf_class(100), mpf_class(101.4)};
    unsigned int i = 0;
    for (auto _ : state)
    {
        // Alternating values, so that every call stores a change and takes the full path.
        bool changed = set.measured().setRawValue(values[i++ & 1], /*update=*/false, /*applyLimits=*/true);
        benchmark::DoNotOptimize(changed);
    }
}

void BM_GetConvertedValueConstantFactor(benchmark::State& state)
{
    getConvertedValue(state, kConstantFactor);
}
void BM_GetConvertedValueVariableFactor(benchmark::State& state)
{
    getConvertedValue(state, kVariableFactor);
}
void BM_SetRawValueConstantFactor(benchmark::State& state)
{
    setRawValue(state, kConstantFactor);
}
void BM_SetRawValueVariableFactor(benchmark::State& state)
{
    setRawValue(state, kVariableFactor);
}
} // namespace

BENCHMARK(BM_GetConvertedValueConstantFactor);
BENCHMARK(BM_GetConvertedValueVariableFactor);
BENCHMARK(BM_SetRawValueConstantFactor);
BENCHMARK(BM_SetRawValueVariableFactor);
