// The cost of the results on the algorithm's inner path: a criterion shown on a graph stores one
// float per computed step through the stage's writer, and a time event folds each iteration's value
// into its minimum, nominal, maximum and histogram, which a drift study does once per combination.
#include "PlotKit/cScatterGraph.h"
#include "SimCore/cKynFileList.h"
#include "SimCore/cKynMultiPreprocessingItem.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cInputFile.h"
#include "tests/support/cIdleComputationManager.h"
#include "tests/support/cOpenAlgorithm.h"

#include <benchmark/benchmark.h>

#include <map>
#include <memory>

namespace
{
// One crash file in use, an algorithm with one criterion and one time event, and a graph that shows
// the criterion, so that its values are used and keep the whole curve. The graph comes before the
// algorithm: values take their objects out of the graph when they die.
struct sResultsBench
{
    sResultsBench()
    {
        (myActiveSymbolManager = &symbols)->setConfiguration("");
        myActiveComputationManager = &computations;
        myActiveMultiPreprocessingMgr = &multiPreprocessing;
        cKynMultiPreprocessingItem* const item = multiPreprocessing.addItem("Default");
        item->setFileList(new cKynFileList);
        myActiveFileList = item->getFileList();
        myActiveAlgorithm = &algorithm;
        algorithm.loadCriteria("Criterion {\nName = Speed\n}\n");
        algorithm.loadTimeEvents("Time Event {\nName = TTF\n}\n");
        algorithm.setTimeEventsPrecisionFrequency(1000);
        algorithm.m_samplingRate = 10000.0f;
        algorithm.m_t0 = 0;
        algorithm.criterion("Speed")->registerGraph(&graph, true);
        myActiveFile = myActiveFileList->addFile(new cInputFile("/data/crash_01.csh"));
        myActiveFile->useFile(true, nullptr);
        startRun();
    }
    ~sResultsBench()
    {
        myActiveFile = nullptr;
        myActiveFileList = nullptr;
        myActiveAlgorithm = nullptr;
        multiPreprocessing.removeAllItems();
        myActiveMultiPreprocessingMgr = nullptr;
        myActiveComputationManager = nullptr;
        myActiveSymbolManager = nullptr;
    }
    sResultsBench(sResultsBench const&) = delete;
    sResultsBench& operator=(sResultsBench const&) = delete;

    void startRun()
    {
        algorithm.resetResults();
        algorithm.changeFileResults();
    }

    cSymbolManager symbols;
    cIdleComputationManager computations;
    cKynMultiPreprocessingMgr multiPreprocessing;
    cScatterGraph graph;
    cOpenAlgorithm algorithm;
};

unsigned int const kSamplesPerIteration = 2000;
unsigned int const kIterationsPerRun = 1000;

void BM_FillUsedCriterion2000Samples(benchmark::State& state)
{
    sResultsBench bench;
    cCriterionValuesForOneFile* const values =
        bench.algorithm.criterion("Speed")->getActiveCriterionValuesForOneFile();
    if (values == nullptr || !values->isUsed())
    {
        state.SkipWithError("the criterion is not used");
        return;
    }
    for (auto _ : state)
    {
        values->prepareForTest();
        for (unsigned int step = 0; step < kSamplesPerIteration; ++step)
        {
            bench.algorithm.m_currentSampleIndex = step;
            bench.algorithm.addValueToCriterion(values, float(step) * 0.5f);
        }
        benchmark::DoNotOptimize(values->getSize());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamplesPerIteration);
}
BENCHMARK(BM_FillUsedCriterion2000Samples);

void BM_FoldThousandIterationsIntoATimeEvent(benchmark::State& state)
{
    sResultsBench bench;
    cTimeEvent* const event = bench.algorithm.timeEvent("TTF");
    for (auto _ : state)
    {
        bench.startRun();
        cTimeEventValuesForOneFile* const values = event->getActiveTimeEventValuesForOneFile();
        for (unsigned int iteration = 0; iteration < kIterationsPerRun; ++iteration)
        {
            values->prepareForTest();
            // Some forty distinct times and a no-fire now and then, as a drift study gives them.
            if (iteration % 17 != 0)
            {
                bench.algorithm.m_currentSampleIndex = 200 + (iteration * 7) % 400;
                bench.algorithm.setTimeEventValue(values, 0.0);
            }
            values->endOfIteration();
        }
        benchmark::DoNotOptimize(values->getMinValue());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kIterationsPerRun);
}
BENCHMARK(BM_FoldThousandIterationsIntoATimeEvent);

// The same fold written by hand over the same values: a histogram of counted records allocated on a
// value's first appearance, and the minimum, first and maximum with the no-fire rules.
void BM_FoldThousandIterationsByHand(benchmark::State& state)
{
    struct sRecord
    {
        unsigned int count = 0;
    };
    for (auto _ : state)
    {
        std::map<long, std::unique_ptr<sRecord>> histogram;
        long minValue = -1, nomValue = -1, maxValue = -1;
        for (unsigned int iteration = 0; iteration < kIterationsPerRun; ++iteration)
        {
            long const value = iteration % 17 != 0 ? long(200 + (iteration * 7) % 400) / 10 : -1;
            std::unique_ptr<sRecord>& record = histogram[value];
            if (!record)
                record = std::make_unique<sRecord>();
            ++record->count;
            if (iteration == 0)
            {
                minValue = nomValue = maxValue = value;
                continue;
            }
            if ((value != -1 && value < minValue) || minValue == -1)
                minValue = value;
            if (maxValue < value)
                maxValue = value;
        }
        benchmark::DoNotOptimize(minValue + nomValue + maxValue);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kIterationsPerRun);
}
BENCHMARK(BM_FoldThousandIterationsByHand);
} // namespace
