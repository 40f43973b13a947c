#include "CalcKit/CPoleFilter.h"

#include "BaseKit/Conversions.h"

#include <cmath>
#include <numbers>

namespace
{
std::string text(std::complex<double> p)
{
    std::string s = numberToText(mpf_class(p.real()));
    if (p.imag() != 0.0)
        s += (p.imag() > 0.0 ? " + " : " - ") + numberToText(mpf_class(std::abs(p.imag()))) + "i";
    return s;
}

// p mirrored into the left half plane: the same frequency and damping, decaying.
std::complex<double> mirrored(std::complex<double> p)
{
    return p.real() > 0.0 ? -std::conj(p) : p;
}
} // namespace

cPoleFilter::cPoleFilter(std::string const& name, std::string const& type) : CFilter(name, type) {}

void cPoleFilter::addRealPole(std::pair<double, double> pole)
{
    m_realPoles.push_back(pole);
    markPolesChanged();
}

void cPoleFilter::addComplexPole(std::pair<std::complex<double>, std::complex<double>> pole)
{
    m_complexPoles.push_back(pole);
    markPolesChanged();
}

void cPoleFilter::clearPoles()
{
    m_realPoles.clear();
    m_complexPoles.clear();
    markPolesChanged();
}

void cPoleFilter::refuse(std::string const& what) const
{
    fail("pole filter \"" + m_filterName + "\": " + what);
}

std::vector<std::pair<std::complex<double>, std::complex<double>>> cPoleFilter::allPoles() const
{
    std::vector<std::pair<std::complex<double>, std::complex<double>>> poles;
    for (auto const& [pole, residue] : m_realPoles)
        poles.emplace_back(std::complex<double>(pole, 0.0), std::complex<double>(residue, 0.0));
    for (auto const& pole : m_complexPoles)
        poles.push_back(pole);
    return poles;
}

void cPoleFilter::calculateCoefficients(double samplingRate)
{
    calculateCoefficientsFor(samplingRate, allPoles());
}

void cPoleFilter::calculateCoefficientsFor(
    double samplingRate, std::vector<std::pair<std::complex<double>, std::complex<double>>> const& poles)
{
    m_calculated = false;
    double const period = 1.0 / samplingRate;
    std::vector<sTerm> terms;
    std::size_t const realCount = m_realPoles.size();
    for (std::size_t i = 0; i < poles.size(); ++i)
    {
        auto const& [p, r] = poles[i];
        if (p.real() > 0.0)
            refuse("the pole " + text(p) + " rad/s is unstable (its real part is above 0).");
        double const w0 = std::abs(p);
        if (!(w0 * period / 2.0 < std::numbers::pi / 2.0))
            refuse("the pole " + text(p) + " rad/s lies at or above pi times the sampling rate (" +
                   numberToText(mpf_class(samplingRate)) + " Hz).");
        double const k = w0 == 0.0 ? 2.0 / period : w0 / std::tan(w0 * period / 2.0);
        terms.push_back({(k + p) / (k - p), r / (k - p), i >= realCount});
    }
    m_terms.swap(terms);
    m_rate = samplingRate;
    m_calculated = true;
}

void cPoleFilter::prepareCoefficients(double samplingRate)
{
    if (!isCalculatedFor(samplingRate))
        calculateCoefficients(samplingRate);
}

void cPoleFilter::process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                          unsigned int)
{
    prepareCoefficients(samplingRateOf(in));
    unsigned int const count = in.size();
    float const* const x = in.data() + 1;
    float* const y = out.addUninitialised(count);
    y[0] = 0.0f;
    double const direct = m_directTransfer.get_d();
    double const gain = m_gain.get_d();
    // The real terms in real arithmetic (their imaginary parts stay 0, so the result is the same) and
    // the pairs in complex arithmetic written out, so that the loop holds no branch and no call.
    std::vector<double> realFeedback, realInput, realState;
    std::vector<double> pairFeedback, pairInput, pairState; // re, im per pair
    for (sTerm const& term : m_terms)
    {
        if (term.complexPair)
        {
            pairFeedback.insert(pairFeedback.end(), {term.feedback.real(), term.feedback.imag()});
            pairInput.insert(pairInput.end(), {term.input.real(), term.input.imag()});
            pairState.insert(pairState.end(), {0.0, 0.0});
        }
        else
        {
            realFeedback.push_back(term.feedback.real());
            realInput.push_back(term.input.real());
            realState.push_back(0.0);
        }
    }
    std::size_t const reals = realState.size();
    std::size_t const pairs = pairState.size() / 2;
    double previous = 0.0;
    for (unsigned int n = 0; n + 1 < count; ++n)
    {
        double const input = x[n];
        double const both = input + previous;
        double sum = 0.0;
        for (std::size_t t = 0; t < reals; ++t)
        {
            realState[t] = realFeedback[t] * realState[t] + realInput[t] * both;
            sum += realState[t];
        }
        for (std::size_t t = 0; t < pairs; ++t)
        {
            double const ar = pairFeedback[2 * t], ai = pairFeedback[2 * t + 1];
            double const wr = pairState[2 * t], wi = pairState[2 * t + 1];
            double const re = (ar * wr - ai * wi) + pairInput[2 * t] * both;
            double const im = (ar * wi + ai * wr) + pairInput[2 * t + 1] * both;
            pairState[2 * t] = re;
            pairState[2 * t + 1] = im;
            sum += 2.0 * re;
        }
        y[n + 1] = static_cast<float>(direct * input + gain * sum);
        previous = input;
    }
    status.addCopies(count, 0);
}

cAutoStabilizedPoleFilter::cAutoStabilizedPoleFilter(std::string const& name, std::string const& type)
    : cPoleFilter(name, type)
{
}

void cAutoStabilizedPoleFilter::StabilizeAndCalculate(double samplingRate)
{
    if (isCalculatedFor(samplingRate))
        return;
    auto poles = allPoles();
    m_changed.clear();
    for (auto& [p, r] : poles)
    {
        std::complex<double> const stable = mirrored(p);
        m_changed.add(stable != p ? 1 : 0);
        p = stable;
    }
    calculateCoefficientsFor(samplingRate, poles);
}

cStabilizedPoleFilter::cStabilizedPoleFilter(std::string const& name, std::string const& type)
    : cAutoStabilizedPoleFilter(name, type)
{
}

void cStabilizedPoleFilter::prepareCoefficients(double samplingRate)
{
    if (isCalculatedFor(samplingRate))
        return;
    m_changed.clear();
    for (auto& [pole, residue] : m_realPoles)
    {
        m_changed.add(pole > 0.0 ? 1 : 0);
        pole = pole > 0.0 ? -pole : pole;
    }
    for (auto& [pole, residue] : m_complexPoles)
    {
        m_changed.add(pole.real() > 0.0 ? 1 : 0);
        pole = mirrored(pole);
    }
    calculateCoefficients(samplingRate);
}
