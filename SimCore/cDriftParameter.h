// Drifts turn one simulation into a robustness study: a cDrift holds the points of one sweep of a
// parameter around its nominal value, a cDriftParameter is a parameter that can carry one and
// remembers the ranges offered and last chosen, and cDriftParameterMgr, the parameter list of every
// stage and of the calibration, turns one iteration number into one point of each drift.
#pragma once

#include "BaseKit/cStorage.h"
#include "BaseKit/mpfClass.h"
#include "SimCore/cEquation.h"
#include "SimCore/cParameter.h"
#include "SimCore/cParameterMgr.h"

#include <cstdint>
#include <gmpxx.h>
#include <string>

class cConfigurationGroup;
class cDriftParameter;
class cDriftParameterMgr;

class cDrift
{
    friend class cDriftParameter;
    friend class cDriftParameterMgr;

public:
    // Member by member: the copy shares the points with its source, and only one of the two may
    // be destroyed.
    cDrift(cDrift const& other) = default;
    cDrift& operator=(cDrift const& other) = default;

    mpf_class getRawMinimumValue() const { return m_rawMinimum; }
    mpf_class getRawMaximumValue() const { return m_rawMaximum; }
    mpf_class getRawNominalValue() const { return m_rawNominal; }
    mpf_class getRawStepValue() const { return m_rawStep; }
    // Raw values times the conversion factor frozen when the drift was made, so that a later
    // change of the parameter's factor leaves the drift as it was set.
    mpf_class getConvertedMinimumValue() const { return m_rawMinimum * m_conversionFactor; }
    mpf_class getConvertedMaximumValue() const { return m_rawMaximum * m_conversionFactor; }
    mpf_class getConvertedNominalValue() const { return m_rawNominal * m_conversionFactor; }
    mpf_class getConvertedStepValue() const { return m_rawStep * m_conversionFactor; }
    void setConvertedMaximumValue(mpf_class value);
    void setConvertedMinimumValue(mpf_class value);
    void setConvertedStepValue(mpf_class value);
    void setConvertedNominalValue(mpf_class value);

    uint32_t getPointNumber() const { return m_pointNumber; }
    unsigned char getStatisticalDistributionIdx() const { return m_distribution; }
    // "Uniform", "Gaussian", or "Unknown" for any other index.
    std::string getStatisticalDistributionName() const;
    // 0 Uniform, 1 Gaussian; 2 and above throw cUnknownDistributionTypeException.
    void setStatisticalDistributionType(unsigned char distribution);
    // The density of each point, in point order, summing to 1. Uniform: 1 / point number each.
    // Gaussian: a normal law centred on the nominal value with the range as six standard deviations
    // (a tolerance of plus or minus three sigma), truncated to the range; each point takes its mass
    // over its share of the range, the part closer to it than to any other point. Points of one
    // value split their share, a point outside the range gets 0, and a range without width puts
    // everything on the minimum. Any other index throws cUnknownDistributionTypeException.
    void getStatisticalDistribution(cStorage<double>& out) const;
    // Draws points with the C library's rand(), one call per draw: counts gets one entry per point.
    // A point drawn limit times leaves the drawing and the others share its probability, equally
    // when none of them has any left. Should every point reach its limit, the next draws start over
    // with the full densities.
    void computeStatisticalDistribution(unsigned int draws, unsigned int limit,
                                        cStorage<unsigned int>& counts);
    // Point i modulo the point number.
    mpf_class computeSpecificPointRawValue(unsigned int i) const;
    mpf_class computeSpecificPointConvertedValue(unsigned int i) const;

protected:
    // Throws cBadStepException for a step not above 0, then cUnknownDistributionTypeException for
    // an unknown distribution; builds the points and invalidates the statistical module.
    cDrift(mpf_class nominal, mpf_class maximum, mpf_class minimum, mpf_class step, mpf_class factor,
           unsigned char distribution);
    // Frees the points and invalidates the statistical module.
    virtual ~cDrift();

    // Each stores, rebuilds the points and tells the host (message 0x9E3).
    void setRawMaximumValue(mpf_class value);
    void setRawMinimumValue(mpf_class value);
    void setRawNominalValue(mpf_class value);
    // A step not above 0 throws cBadStepException and changes nothing.
    void setRawStepValue(mpf_class value);

    // Nominal, the points going down to the minimum, then those going up to the maximum; the limits
    // always stand as points, so a step that does not divide the range shortens the last interval.
    void computePointNumber();

private:
    void freePoints();
    // The raw point i, i below the point number; what a sweep reads at every iteration.
    mpf_class const& pointAt(unsigned int i) const { return m_points[i]->value; }

    mpf_class m_rawMaximum;
    mpf_class m_rawMinimum;
    mpf_class m_rawStep;
    mpf_class m_rawNominal;
    mpf_class m_conversionFactor;
    unsigned char m_distribution = 0;
    uint32_t m_pointNumber = 0;
    cStorage<mpfClass*> m_points;
};

class cDriftParameter : public cParameter, public cParameterEquation
{
    // The managers build their elements from configuration groups.
    friend struct sParameterMgrTraits<cDriftParameter>;

public:
    // Member by member: the copy shares the drift with its source (and the conversion factor, as
    // cParameter's copy does); only one of the two may end with it.
    cDriftParameter(cDriftParameter const& other) = default;
    cDriftParameter& operator=(cDriftParameter const& other) = default;

    // The four numbers divided by the conversion factor evaluated now, then setRawDrift.
    void setConvertedDrift(mpf_class nominal, mpf_class maximum, mpf_class minimum, mpf_class step,
                           unsigned char distribution);
    // Makes a new drift with the present conversion factor; maximum, minimum and step become the
    // used range. A drift that existed is cleared, which leaves the parameter on its default value
    // rather than on the new nominal: resetNominalValue moves it there.
    void setRawDrift(mpf_class nominal, mpf_class maximum, mpf_class minimum, mpf_class step,
                     unsigned char distribution);
    // Back to the default value; the drift, if any, is deleted. The host is told in every case.
    void clearDrift();
    // clearDrift, and the used range takes the default range.
    void resetDrift();
    // With a drift, the raw value goes to the drift's nominal.
    void resetNominalValue();

    cDrift* getDrift() const { return m_drift; }
    bool isDriftSet() const { return m_drift != nullptr; }
    // The drift's point number, 1 without a drift.
    uint32_t getPointNumber() const { return m_drift != nullptr ? m_drift->getPointNumber() : 1; }

    // Converted with the conversion factor evaluated now.
    mpf_class getDefaultStepValue() const;
    mpf_class getDefaultMaximumValue() const;
    mpf_class getDefaultMinimumValue() const;
    mpf_class getUsedStepValue() const;
    mpf_class getUsedMaximumValue() const;
    mpf_class getUsedMinimumValue() const;
    // Converted values; a changed value also reaches the drift, which rebuilds its points. The step
    // form throws cBadStepException from the drift after the used step is stored.
    void setUsedStepValue(mpf_class converted);
    void setUsedMaximumValue(mpf_class converted);
    void setUsedMinimumValue(mpf_class converted);

    bool getIsBatchConfigParameter() const { return m_batchConfiguration; }
    bool getIsBatchCombineParameter() const { return m_batchCombine; }
    void setProcessed(bool processed) { m_processed = processed; }

    // Writes a "Drift" group into parent: owner, channel (when not empty), parameter, and either
    // the value alone or the drift's range, step and distribution.
    void saveDriftConfiguration(cConfigurationGroup* parent, std::string ownerName, std::string channelName);

    // As an operand of a preprocessor: the raw value, and the processed mark of the iteration.
    mpf_class evaluate() override;
    bool isProcessed() const override { return m_processed; }
    std::string getClassName() const override { return "cDriftParameter"; }

    // The name of the parameter in the EEPROM image; none for a plain drift parameter.
    virtual std::string getEepromName();

protected:
    // cParameter's keys, then the ranges, the batch flags and "Path".
    cDriftParameter(cConfigurationGroup* group, std::string const& ownerName);
    // Clears the drift, which writes the default value and tells the host.
    ~cDriftParameter() override;

    // cParameter's keys, then those of its own EParameterFileKey bits: the default and used ranges,
    // the two batch flags and "Path".
    void buildFile(cConfigurationGroup* group, int mask) override;

private:
    void setConfiguration(cConfigurationGroup* group);
    // A converted value in raw units with the conversion factor evaluated now.
    mpf_class toRaw(mpf_class const& converted) const;
    // Stores a changed used value and passes it on to the drift.
    void changeUsedValue(mpf_class& field, mpf_class const& raw, void (cDrift::*setter)(mpf_class));

    mpf_class m_usedMaximum;
    mpf_class m_usedMinimum;
    mpf_class m_usedStep;
    mpf_class m_defaultMaximum;
    mpf_class m_defaultMinimum;
    mpf_class m_defaultStep;
    cDrift* m_drift = nullptr;
    bool m_batchConfiguration = false;
    bool m_batchCombine = false;
    bool m_processed = false;
};

class cDriftParameterMgr : public cParameterMgr<cDriftParameter>
{
public:
    cDriftParameterMgr(std::string const& itemName, std::string const& listName);

    bool parameterListEmpty() const { return getParameterListSize() == 0; }
    // Every element loses its drift and gets the default range as used range.
    void resetAllDrifts();
    // Every element with a drift goes to the drift's nominal.
    void resetAllNominalValues();
    // Sets each current drift to its point of that iteration: (iteration / stride) modulo points.
    // False, changing nothing, for an iteration at or beyond the number of combinations.
    bool restoreDriftState(unsigned int iteration);
    // Appends the elements that have a drift.
    void getCurrentDrifts(cStorage<cDriftParameter*>& drifts) const;
    // Appends the elements whose value differs from their default by 1e-13 or more.
    void getModifiedDriftParams(cStorage<cDriftParameter*>& parameters) const;
    // n = the point number of the first drift (0 with none); false when a later drift has another.
    bool currentDriftsHaveSameNumberOfIterations(unsigned int& n) const;

protected:
    // The current drifts and their strides as reset() last built them.
    unsigned int getAppliedDriftsNumber() const { return m_currentDrifts.size(); }
    cDriftParameter* getAppliedDrifts(unsigned int i) const { return m_currentDrifts[i]; }
    unsigned int getAppliedDriftStride(unsigned int i) const { return m_strides[i]; }
    // The number of drift combinations, 1 with no drift.
    uint32_t getTotalDriftCombinations() const { return m_totalCombinations; }

    // The processed marks: cleared on a file change, set at the end of an iteration.
    void changeFile() override;
    void endOfIteration() override;
    // Rebuilds the current drifts in list order and their strides, the last drift the fastest.
    void reset() override;
    // True when every element is processed; an empty list is.
    virtual bool isProcessed();

private:
    cStorage<cDriftParameter*> m_currentDrifts;
    cStorage<unsigned int> m_strides;
    uint32_t m_totalCombinations = 1;
};
