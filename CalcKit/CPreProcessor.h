// CPreProcessor: one signal-processing step of a sensor chain (sensitivity, range, ADC, resampling,
// filtering), the arithmetic behind SimCore's preprocessors. An object has a name, a type text and a
// vector of parameters; reset() takes the parameters in, Calculate() turns one input signal into one
// output signal. Signals follow the pipeline's layout: element 0 is a dummy 0.0 standing at T0 (in
// microseconds), sample k is element k + 1. The per-sample loops are plain float arithmetic on
// contiguous storage: no GMP and no virtual call per sample.
#pragma once

#include "BaseKit/cSignalStorage.h"
#include "BaseKit/cStorage.h"

#include <gmpxx.h>
#include <string>
#include <vector>

class CPreProcessor
{
public:
    CPreProcessor(std::string name, std::string type);
    CPreProcessor(CPreProcessor const&) = delete;
    CPreProcessor& operator=(CPreProcessor const&) = delete;
    virtual ~CPreProcessor();

    std::string const& getName() const { return m_name; }
    std::string const& getType() const { return m_type; }

    // The parameter vector. Any change leaves the object to be reset before it computes again
    // (Calculate resets it itself when that was not done). getParameter and setParameter throw
    // cBadListIndex for an index not below the count.
    void clearParameters();
    void addParameter(mpf_class const& value);
    void setParameter(unsigned int index, mpf_class const& value);
    mpf_class getParameter(unsigned int index) const;
    unsigned int getParameterCount() const { return static_cast<unsigned int>(m_parameters.size()); }

    // Makes the object ready for a new signal with the present parameters: checks their count and
    // values (cIncompatibleParametersException naming the preprocessor, its type and what is
    // wrong) and computes what the per-sample loop needs.
    virtual void reset();
    // Brings the parameter vector up to date with what the object computed; nothing for the types
    // that compute no parameter.
    virtual void UpdateParameters() {}
    // Appends to out the result of the whole input signal in (the pair `index` of a preprocessor
    // with several inputs), with out's sampling rate and T0 set, and makes status hold one byte per
    // appended element, 0 for a kept sample. An input without elements appends nothing. Each call
    // starts from rest: nothing is carried over from an earlier signal. This base checks the
    // parameters (resetting when needed) and hands the work to process().
    virtual void Calculate(cSignalStorage<float> const& in, cSignalStorage<float>& out,
                           cStorage<char>& status, unsigned int index);
    // One flag per parameter that the last calculation changed, or null for a type that changes none
    // (UpdateParameters then has nothing to bring).
    virtual cStorage<char> const* getChangedParameterFlags() const { return nullptr; }

protected:
    // The parameters as doubles, in order, for the derived reset().
    double parameterValue(unsigned int index) const { return m_parameters[index].get_d(); }
    // cIncompatibleParametersException "Incompatible parameters: preprocessor \"<name>\" of type
    // \"<type>\": <what>".
    [[noreturn]] void fail(std::string const& what) const;
    // Fails unless exactly the names' count of parameters is given: "takes 2 parameters (gain,
    // offset), 1 given".
    void requireParameters(std::vector<char const*> const& names) const;
    // cIncompatibleParametersException "...: the input signal has no sampling rate." when in's rate is
    // not above 0; for the types that need one.
    void requireSamplingRate(cSignalStorage<float> const& in) const;
    // The per-signal work of the type: in holds at least the dummy element; out and status are
    // empty, with out's rate and T0 already those of in.
    virtual void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                         unsigned int index) = 0;

private:
    std::string m_name;
    std::string m_type;
    std::vector<mpf_class> m_parameters;
    // Set by reset(), cleared by any change of the parameters.
    bool m_ready = false;
    // Where process() writes when out already holds elements (or is the input itself), so that the
    // per-type loops always start from an empty output; kept between calls to reuse its memory.
    cSignalStorage<float> m_scratch;
};

// The preprocessor of that type, owned by the caller. ecuFilePath locates the ECU's files for the
// types that read them; none of the present types does. The types, their parameters in order, and
// what they compute (x the input sample, y the output sample, fs the input sampling rate in Hz):
//   "Gain" (k)                       y = k x: the sensitivity of a sensor.
//   "Offset" (o)                     y = x + o: the offset of a sensor.
//   "Linear" (k, o)                  y = k x + o: both at once.
//   "Saturation" (minimum, maximum)  x clamped to the measuring range; minimum <= maximum.
//   "Quantization" (LSB weight, bits) an ADC: y = round(x / LSB) in signed counts (half away from
//                                    zero), clamped to -2^(bits-1) .. 2^(bits-1)-1; LSB > 0, bits
//                                    a whole number from 1 to 32.
//   "Resample" (rate in Hz)          to a new sampling rate by linear interpolation between the two
//                                    nearest input samples, from the same T0 up to the last input
//                                    sample's time; the output carries the new rate. rate > 0.
//   "Delay" (milliseconds)           y[k] = x[k - n], n = round(ms * fs / 1000), 0 before the start;
//                                    same T0, rate and length. ms >= 0.
//   "Moving Average" (samples)       y[k] = (x[k-N+1] + ... + x[k]) / N, the samples before the start
//                                    counted as 0. N a whole number >= 1.
//   "Integrator" (gain)              the running integral by the trapezoidal rule, from 0 at the first
//                                    sample: y[k] = y[k-1] + gain (x[k-1] + x[k]) / (2 fs), e.g.
//                                    acceleration into velocity.
//   "First Order Low Pass" (corner in Hz) the bilinear transform of fc / (s + fc) prewarped at the
//                                    corner, from rest: with K = tan(pi fc / fs),
//                                    y[k] = K/(1+K) (x[k] + x[k-1]) - (K-1)/(K+1) y[k-1];
//                                    0 < fc < fs / 2.
//   "CFC" (class)                    the channel frequency class filter of crash tests (SAE J211-1,
//                                    ISO 6487): a 2-pole Butterworth section with its corner at
//                                    25/12 x class run forward, then backward, over the signal padded
//                                    point-symmetrically at both ends, each pass started from the
//                                    mean of its first 10 samples (see CCfcFilter.h); the -3 dB point
//                                    lies near class / 0.6. class is 60, 180, 600 or 1000; fs above
//                                    2 x 25/12 x class.
// The dummy element stays 0.0 in every output; no type drops samples, so status is all 0. The types
// that need a sampling rate fail at Calculate on an input without one. An unknown type throws
// cGenericException "Preprocessor \"<name>\" of type \"<type>\": unknown preprocessor type.". The
// filter types ("Pole Filter", "Stabilized Pole Filter", "Auto Stabilized Pole Filter", "Digital
// Filter") are not made here: their coefficients come from a file (CPoleFilter.h, CDigitalFilter.h).
CPreProcessor* createPreProcessor(std::string const& name, std::string const& type,
                                  std::string const& ecuFilePath);
