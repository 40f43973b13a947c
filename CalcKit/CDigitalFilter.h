// CSignal_Time and CDigitalFilter: the digital filters of an ECU, read from a .dft file by SimCore
// (cKynDigitalFilter) and run here as a preprocessor.
//
// A digital filter is a list of blocks. Each block is the difference equation
//     a0 y[n] = b0 x[n] + b1 x[n-1] + ... + bM x[n-M] - a1 y[n-1] - ... - aN y[n-N]
// with its coefficients A = (a0 .. aN) and B = (b0 .. bM), run from rest (x and y are 0 before the
// first sample). The words of the file:
//   "Computation Method"     "Direct Form I": the equation as written, with the past inputs and the past
//                            outputs kept apart; "Direct Form II Transposed": the same equation through
//                            max(N, M) states, each the sum still owed to a later output. Both give the
//                            same result up to the rounding of double arithmetic.
//   "Filter Type"            "IIR": any A; "FIR": A is a0 alone (the output depends on inputs only).
//   "Blocks Processing Mode" "Cascade": each block filters the output of the block before it;
//                            "Parallel": each block filters the input, and the outputs are summed.
// The arithmetic runs in double; samples come in and go out as float. Sampling rate and T0 are those of
// the input; the filter's coefficients hold for the rates from its minimum to its maximum sampling rate.
#pragma once

#include "CalcKit/CPreProcessor.h"

#include <string>
#include <vector>

// A preprocessor over a time signal: the input must carry its sampling rate.
class CSignal_Time : public CPreProcessor
{
public:
    CSignal_Time(std::string const& name, std::string const& type);

protected:
    // The sampling rate of in; cIncompatibleParametersException when it has none.
    double samplingRateOf(cSignalStorage<float> const& in) const;
};

class CDigitalFilter : public CSignal_Time
{
public:
    static constexpr char const* kTypeName = "Digital Filter";
    CDigitalFilter(std::string const& name, std::string const& type);

    // Drops every block.
    void ClearData();
    // Appends a block with its coefficient lists, its computation method and its filter type.
    void AddNewBlock(cStorage<double> a, cStorage<double> b, std::string computationMethod,
                     std::string filterType);
    // Checks the blocks once the last one is in; cIncompatibleParametersException naming the filter and
    // what is wrong: no block, a block with no A or with a0 = 0, no B, an unknown computation method,
    // filter type or blocks processing mode, an FIR block with more than a0, a minimum sampling rate
    // above the maximum.
    virtual void CheckFilterData();
    std::string getFilterName() const { return m_filterName; }
    unsigned int getBlockCount() const { return static_cast<unsigned int>(m_blocks.size()); }

    // Written from the filter's file.
    std::string m_filterName;
    std::string m_blocksProcessingMode;
    mpf_class m_minSamplingRate;
    mpf_class m_maxSamplingRate;

protected:
    // Refuses an input whose sampling rate lies outside the filter's minimum and maximum.
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    struct sBlock
    {
        std::vector<double> a; // normalised by a0 once checked
        std::vector<double> b;
        std::string computationMethod;
        std::string filterType;
        bool transposed = false;
    };
    // A cascade of second order blocks in Direct Form I, all blocks per sample; false for any other
    // filter, which goes block by block.
    bool runCascadeOfBiquads(cSignalStorage<float> const& in, cSignalStorage<float>& out) const;
    // Runs one block over the samples, from rest.
    static void runBlock(sBlock const& block, double const* x, double* y, unsigned int count);
    // The failure that names the filter: "... digital filter "<name>": <what>".
    [[noreturn]] void refuse(std::string const& what) const;

    std::vector<sBlock> m_blocks;
    bool m_parallel = false;
    bool m_checked = false;
    // Per-signal work areas, kept between calls.
    std::vector<double> m_input;
    std::vector<double> m_output;
    std::vector<double> m_sum;
};
