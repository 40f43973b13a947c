// The cost of stepping a sweep: at every iteration a stage sets each of its drifted parameters to
// its point of that iteration number. restoreDriftState is one division and one modulo per drift
// and a setRawValue; the walk over all combinations shows what a whole sweep pays.
#include "SimCore/cDriftParameter.h"

#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationGroup.h"

#include <benchmark/benchmark.h>

namespace
{
// A stage's parameter list with three drifts of 5, 7 and 11 points: 385 combinations.
class cBenchDriftMgr : public cDriftParameterMgr
{
public:
    cBenchDriftMgr() : cDriftParameterMgr("Parameter", "Parameters List")
    {
        myActiveSymbolManager = new cSymbolManager;
        myActiveSymbolManager->setConfiguration("");
        cConfigurationGroup list("Parameters List");
        char const* const names[] = {"sensitivity", "offset", "threshold"};
        for (char const* name : names)
        {
            auto* group = new cConfigurationGroup("Parameter");
            group->addInformation("Name", std::string(name));
            group->addInformation("Float", true);
            group->addInformation("Conversion Factor", std::string("0.01"));
            list.addConfigurationGroup(group);
        }
        loadParameter(&list, "Bench");
        int const points[] = {5, 7, 11};
        for (unsigned int i = 0; i < 3; ++i)
            getParameter(i)->setRawDrift(mpf_class(0), mpf_class(points[i] - 1), mpf_class(0), mpf_class(1),
                                         0);
        reset();
    }
    ~cBenchDriftMgr() override
    {
        cleanupAllParameters();
        delete myActiveSymbolManager;
        myActiveSymbolManager = nullptr;
    }
    cBenchDriftMgr(cBenchDriftMgr const&) = delete;
    cBenchDriftMgr& operator=(cBenchDriftMgr const&) = delete;

    uint32_t total() const { return getTotalDriftCombinations(); }
};

void BM_RestoreDriftStateThreeDrifts(benchmark::State& state)
{
    cBenchDriftMgr mgr;
    unsigned int const total = mgr.total();
    unsigned int iteration = 0;
    for (auto _ : state)
    {
        bool const restored = mgr.restoreDriftState(iteration);
        benchmark::DoNotOptimize(restored);
        iteration = iteration + 1 == total ? 0 : iteration + 1;
    }
}
BENCHMARK(BM_RestoreDriftStateThreeDrifts);

void BM_WalkAllCombinationsOfThreeDrifts(benchmark::State& state)
{
    cBenchDriftMgr mgr;
    unsigned int const total = mgr.total();
    for (auto _ : state)
    {
        for (unsigned int iteration = 0; iteration < total; ++iteration)
            mgr.restoreDriftState(iteration);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * total);
}
BENCHMARK(BM_WalkAllCombinationsOfThreeDrifts);
} // namespace
