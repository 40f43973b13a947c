// The cost of a channel's preprocessing per iteration: a straight list of five preprocessors, each
// reading its predecessor's criterion and writing its own, over a 20000-sample crash signal. A drift
// sweep either runs the whole list or re-enters at the first preprocessor whose parameter moved; the
// two benchmarks show both ends: the whole chain, and the last preprocessor alone.
#include "SimCore/cDriftManager.h"
#include "SimCore/cKynPreprocessor.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationReader.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <string>

namespace
{
constexpr unsigned int kSamples = 20000;
constexpr float kSamplingRate = 10000.0f;
char const* const kOutputs[] = {"S1", "S2", "S3", "S4", "S5"};

std::string preprocessor(std::string const& name, std::string const& type, std::string const& input,
                         std::string const& output, std::string const& values)
{
    std::string text = "Preprocessor {\nName = " + name + "\nType = " + type +
                       "\nStarting Criteria {\nName = " + input + "\n}\nFinal Criteria {\nName = " + output +
                       "\n}\nParameters List {\n";
    std::string::size_type start = 0;
    while (start < values.size())
    {
        std::string::size_type end = values.find(' ', start);
        if (end == std::string::npos)
            end = values.size();
        text += "Parameter {\nValue = " + values.substr(start, end - start) + "\n}\n";
        start = end + 1;
    }
    return text + "}\n}\n";
}

// A stage that only owns the criteria and the preprocessors: its own computation is what the
// benchmarks drive by hand.
class cBenchStage : public cDriftManager
{
public:
    cBenchStage() : cDriftManager("Channel", "ChannelTrace", QUIT_MSG, RUN_TEST_MSG)
    {
        cConfigurationGroup criteria;
        cConfigurationReader::read(
            "Criterion {\nName = In\n}\nCriterion {\nName = S1\n}\nCriterion {\nName = S2\n}\n"
            "Criterion {\nName = S3\n}\nCriterion {\nName = S4\n}\nCriterion {\nName = S5\n}\n",
            "criteria.cfg", criteria);
        cCriterionMgr::loadParameter(&criteria, getName());
        cConfigurationGroup list;
        cConfigurationReader::read(
            preprocessor("Sensitivity", "Linear", "In", "S1", "2 0.5") +
                preprocessor("Range", "Saturation", "S1", "S2", "-100 100") +
                preprocessor("Anti-aliasing", "First Order Low Pass", "S2", "S3", "400") +
                preprocessor("Smoothing", "Moving Average", "S3", "S4", "8") +
                preprocessor("ADC", "Quantization", "S4", "S5", "0.01 16"),
            "channel.prp", list);
        m_preprocessors.loadPreprocessors(&list, "", this);

        // One crash file: every criterion gets its values, the preprocessors take them.
        cCriterionMgr::changeFile();
        m_preprocessors.changeFile();
        cSignalStorage<float>& input =
            cCriterionMgr::getParameter("In")->getActiveCriterionValuesForOneFile()->getIterationValueList();
        input.setSamplingRate(kSamplingRate);
        input.setT0(0);
        input.add(0.0f);
        for (unsigned int k = 0; k < kSamples; ++k)
            input.add(static_cast<float>(80.0 * std::sin(k * 0.01) + 30.0 * std::sin(k * 0.37)));
        m_preprocessors.prepareForTest();
        for (char const* name : kOutputs)
            m_outputs[m_outputCount++] =
                cCriterionMgr::getParameter(name)->getActiveCriterionValuesForOneFile();
    }
    cBenchStage(cBenchStage const&) = delete;
    cBenchStage& operator=(cBenchStage const&) = delete;

    // What an iteration of the pipeline does before it computes: the criteria written from entry on
    // start empty (their memory stays), then the list runs from entry.
    void iterate(unsigned int entry)
    {
        for (unsigned int i = entry; i < m_outputCount; ++i)
            m_outputs[i]->prepareForTest();
        m_preprocessors.Calculate(entry, m_mask);
    }
    unsigned int lastSize() const { return m_outputs[m_outputCount - 1]->getSize(); }

protected:
    void steps() override {}
    void runTest(cMessage const*) override {}
    void performIteration() override {}

private:
    // A member, so the preprocessors give their criteria back before the criteria lists go.
    cPreprocessorMgr m_preprocessors;
    cCriterionValuesForOneFile* m_outputs[5] = {};
    unsigned int m_outputCount = 0;
    cStorage<char> m_mask;
};

// The parameters' equations are made while a symbol manager is active, and the criteria leave it when
// the stage goes: it comes before the stage and goes after it.
struct sActiveSymbols
{
    sActiveSymbols()
    {
        myActiveSymbolManager = &symbols;
        symbols.setConfiguration("");
    }
    ~sActiveSymbols() { myActiveSymbolManager = nullptr; }
    cSymbolManager symbols;
};

void run(benchmark::State& state, unsigned int entry)
{
    sActiveSymbols symbols;
    cBenchStage stage;
    stage.iterate(0);
    if (stage.lastSize() != kSamples + 1)
    {
        state.SkipWithError("the chain did not produce the whole signal");
        return;
    }
    for (auto _ : state)
    {
        stage.iterate(entry);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamples);
}

void BM_PreprocessorChainWhole(benchmark::State& state)
{
    run(state, 0);
}
BENCHMARK(BM_PreprocessorChainWhole)->Unit(benchmark::kMicrosecond);

// A sweep of the last preprocessor's parameter re-enters there: four of the five steps are saved.
void BM_PreprocessorChainLastOnly(benchmark::State& state)
{
    run(state, 4);
}
BENCHMARK(BM_PreprocessorChainLastOnly)->Unit(benchmark::kMicrosecond);
} // namespace
