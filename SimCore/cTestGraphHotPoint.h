// cTestGraphHotPoint: a point on a criterion's series that the user can drag, bound to two parameters
// of the system (typically a threshold's time and level): dragging it sets these parameters, in raw
// or converted units as the test shows them. A condition equation decides whether it is active.
#pragma once
#include "PlotKit/cGraphHotPoint.h"
#include <string>

class cConfigurationGroup;
class cEquation;
class cParameter;

class cTestGraphHotPoint : public cGraphHotPoint
{
public:
    // From a "Hot Point" group: "Abscissa" and "Ordinate" (mandatory) name registered parameters, each
    // taking one more link; "Condition" (optional) is an equation. cUnknownSymbol for an unknown name,
    // with no link left behind.
    cTestGraphHotPoint(cConfigurationGroup* group, unsigned long color, std::string const& label);
    // A point on the same two parameters (one more link each) with its own condition (owned, may be null).
    cTestGraphHotPoint(cParameter* abscissa, cParameter* ordinate, cEquation* condition, unsigned long color,
                       std::string const& label);
    // Gives up the two links (a parameter at its last link is deleted) and deletes the condition.
    ~cTestGraphHotPoint() override;

    cParameter* getAbscissaParameter() const { return m_abscissa; }
    cParameter* getOrdinateParameter() const { return m_ordinate; }
    cEquation const* getCondition() const { return m_condition; }

    // With the owner's LSB flag: x raw (converted for a time abscissa) and y raw; without it both converted.
    void getPosition(float& x, float& y) const override;
    void setAbscissa(float x) override;
    void setOrdinate(float y) override;
    // The registration names of the two parameters.
    std::string getAbscissaName() const override;
    std::string getOrdinateName() const override;
    // No condition, or a condition that evaluates to something other than 0.
    bool isConditionTrue() const override;

private:
    bool isLsb() const;

    cParameter* m_abscissa = nullptr;
    cParameter* m_ordinate = nullptr;
    cEquation* m_condition = nullptr;
};
