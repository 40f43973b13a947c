// The cost of the results on the algorithm's inner path: a criterion shown on a graph stores one
// float per computed step through the stage's writer, and a time event folds each iteration's value
// into its minimum, nominal, maximum and histogram, which a drift study does once per combination.
#include "PlotKit/cScatterGraph.h"
#include "tests/support/cResultWorld.h"

#include <benchmark/benchmark.h>

namespace
{
// One crash file in use, an algorithm with one criterion and one time event, and a graph that shows
// the criterion, so that its values are used and keep the whole curve. The graph comes before the
// algorithm: values take their objects out of the graph when they die.
struct sResultsBench
{
    sResultsBench()
    {
        myActiveAlgorithm = &algorithm;
        algorithm.loadCriteria("Criterion {\nName = Speed\n}\n");
        algorithm.loadTimeEvents("Time Event {\nName = TTF\n}\n");
        algorithm.setTimeEventsPrecisionFrequency(1000);
        algorithm.m_samplingRate = 10000.0f;
        algorithm.m_t0 = 0;
        algorithm.criterion("Speed")->registerGraph(&graph, true);
        myActiveFile = world.addCrash("/data/crash_01.csh");
        startRun();
    }
    ~sResultsBench() { myActiveAlgorithm = nullptr; }
    sResultsBench(sResultsBench const&) = delete;
    sResultsBench& operator=(sResultsBench const&) = delete;

    void startRun()
    {
        algorithm.resetResults();
        algorithm.changeFileResults();
    }

    sResultWorld world;
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
} // namespace
