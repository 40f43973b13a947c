// CCfcFilter: the channel frequency class filter of crash-test laboratories ("CFC" (class)), the
// 4-pole phaseless Butterworth low pass of SAE J211-1 Appendix C and ISO 6487 Annex A. It lets a
// simulated sensor chain see a recorded crash pulse the way the laboratory's evaluation sees it:
// CFC 60 for the vehicle structure, 180 for integration, 600 for components, 1000 for heads.
//
// One 2-pole Butterworth section with its corner at k x CFC, k = 25/12 (ISO 6487's design constant),
// runs forward, then backward; the run squares the section's response and puts the -3 dB point near
// CFC / 0.6. It runs over the signal with ISO 6487's end treatment: point-symmetric padding of max(100, 10
// ms) samples at each end (at most n - 1), each pass started in the steady state of the mean of its first 10
// samples, the padding cropped afterwards. All of it in double; the output keeps the input's rate and T0, the
// dummy element and one status byte of 0 per element.
#pragma once

#include "CalcKit/CPreProcessor.h"

#include <utility>
#include <vector>

class CCfcFilter : public CPreProcessor
{
public:
    static constexpr char const* kTypeName = "CFC";
    // The design constant of the section: wd = 2 pi k CFC (ISO 6487; SAE J211-1 writes 2.0775).
    static constexpr double kDesignConstant = 25.0 / 12.0;

    // The 2-pole section of one class at one sampling rate:
    // y[i] = a0 x[i] + a1 x[i-1] + a2 x[i-2] + b1 y[i-1] + b2 y[i-2].
    struct sSection
    {
        double a0, a1, a2, b1, b2;
    };
    // wa = tan(pi k CFC / rate), D = 1 + sqrt(2) wa + wa^2: a0 = wa^2 / D, a1 = 2 a0, a2 = a0,
    // b1 = -2 (wa^2 - 1) / D, b2 = (-1 + sqrt(2) wa - wa^2) / D. Meaningful for rate > 2 k CFC only.
    static sSection section(double cfc, double rate);
    // Samples of padding at each end of a signal of `samples` samples at `rate` Hz: the larger of 100
    // and the samples of 10 ms (rounded up), and at most samples - 1.
    static unsigned int padding(unsigned int samples, double rate);

    explicit CCfcFilter(std::string name) : CPreProcessor(std::move(name), kTypeName) {}
    void reset() override;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int index) override;

private:
    double m_class = 0.0;
    // The padded signal of the forward pass, kept between calls to reuse its memory.
    std::vector<double> m_padded;
};
