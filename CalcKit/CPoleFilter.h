// CFilter and the pole filters: analogue filters (a sensor's anti-aliasing filter, say) given as a sum
// of first order terms, read from a .flt file by SimCore (cKynPoleFilter) and run here on sampled signals.
//
// The transfer function, poles p and residues r in rad/s:
//     H(s) = D + G ( sum over real poles r / (s - p)
//                  + sum over complex poles [ r / (s - p) + conj(r) / (s - conj(p)) ] )
// Each term is discretised on its own by the bilinear transform, prewarped at the pole's own frequency
// w0 = |p|: s = K (1 - 1/z) / (1 + 1/z) with K = w0 / tan(w0 T / 2) (K = 2 / T for a pole at 0). So
//     w[n] = (K + p) / (K - p) w[n-1] + r / (K - p) (x[n] + x[n-1]),
// run in complex arithmetic for a complex pole, whose pair contributes 2 Re w[n]; and
//     y[n] = D x[n] + G (sum of the terms' w[n]).
// The bilinear transform is chosen over impulse invariance because it keeps the gain at 0 Hz exactly
// (a sensor's sensitivity stays what the file says, where impulse invariance errs by about w0 T / 2),
// does not alias, and maps a stable pole to a stable one; prewarping puts each term's response exactly
// right at its own pole frequency. A term needs w0 below pi times the sampling rate.
//
// The three kinds differ in what they do with an unstable pole (real part above 0, whose term grows
// without end):
//   "Pole Filter"                  refuses it at Calculate.
//   "Auto Stabilized Pole Filter"  computes with the pole mirrored into the left half plane (p becomes
//                                  -conj(p): the same frequency and damping, decaying), the stored poles
//                                  unchanged; its coefficients are worked out again whenever the sampling
//                                  rate or a pole changed since the last signal (StabilizeAndCalculate).
//   "Stabilized Pole Filter"       mirrors such poles once, in its stored lists, at the first calculation
//                                  after they were given, and reports it through its changed flags.
// Each calculation runs from rest in double precision; samples come in and go out as float.
#pragma once

#include "CalcKit/CDigitalFilter.h"

#include <complex>
#include <utility>
#include <vector>

class CFilter : public CSignal_Time
{
public:
    using CSignal_Time::CSignal_Time;
    std::string getFilterName() const { return m_filterName; }

    // Written from the filter's file.
    std::string m_filterName;
    mpf_class m_directTransfer{0};
    mpf_class m_gain{1};
};

class cPoleFilter : public CFilter
{
public:
    static constexpr char const* kTypeName = "Pole Filter";
    cPoleFilter(std::string const& name, std::string const& type);

    // A real pole and its residue.
    void addRealPole(std::pair<double, double> pole);
    // A complex pole and its residue; the conjugate pair is implied.
    void addComplexPole(std::pair<std::complex<double>, std::complex<double>> pole);
    void clearPoles();
    std::vector<std::pair<double, double>> const& getRealPoles() const { return m_realPoles; }
    std::vector<std::pair<std::complex<double>, std::complex<double>>> const& getComplexPoles() const
    {
        return m_complexPoles;
    }

    // The coefficients of every term at this sampling rate, from the poles as given (refused when one
    // is unstable or lies too high for the rate).
    void calculateCoefficients(double samplingRate);

protected:
    // Runs the terms over the signal after prepareCoefficients.
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) final;
    // What the kind does before a signal: this one calculates from the poles as given.
    virtual void prepareCoefficients(double samplingRate);
    // The coefficients of one term, pole p and residue r, at sample period T.
    struct sTerm
    {
        std::complex<double> feedback; // (K + p) / (K - p)
        std::complex<double> input;    // r / (K - p)
        bool complexPair;
    };
    void
    calculateCoefficientsFor(double samplingRate,
                             std::vector<std::pair<std::complex<double>, std::complex<double>>> const& poles);
    // The poles of both lists as complex numbers, the real ones first, each with whether it is a pair.
    std::vector<std::pair<std::complex<double>, std::complex<double>>> allPoles() const;
    // Whether the coefficients hold for this rate and the present poles.
    bool isCalculatedFor(double samplingRate) const { return m_calculated && m_rate == samplingRate; }
    void markPolesChanged() { m_calculated = false; }

    std::vector<std::pair<double, double>> m_realPoles;
    std::vector<std::pair<std::complex<double>, std::complex<double>>> m_complexPoles;

private:
    [[noreturn]] void refuse(std::string const& what) const;
    std::vector<sTerm> m_terms;
    bool m_calculated = false;
    double m_rate = 0.0;
};

class cAutoStabilizedPoleFilter : public cPoleFilter
{
public:
    static constexpr char const* kTypeName = "Auto Stabilized Pole Filter";
    cAutoStabilizedPoleFilter(std::string const& name, std::string const& type);

    // The coefficients at this rate with every unstable pole mirrored (p becomes -conj(p)), unless they
    // already hold for the rate and the poles. The flags then say which poles (real ones first) were
    // mirrored.
    void StabilizeAndCalculate(double samplingRate);
    cStorage<char> const* getChangedParameterFlags() const override { return &m_changed; }

protected:
    void prepareCoefficients(double samplingRate) override { StabilizeAndCalculate(samplingRate); }
    cStorage<char> m_changed{10};
};

class cStabilizedPoleFilter : public cAutoStabilizedPoleFilter
{
public:
    static constexpr char const* kTypeName = "Stabilized Pole Filter";
    cStabilizedPoleFilter(std::string const& name, std::string const& type);

protected:
    // Mirrors the unstable poles in the stored lists themselves (once), then calculates.
    void prepareCoefficients(double samplingRate) override;
};
