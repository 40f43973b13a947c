#include "SimCore/cTestGraphHotPoint.h"

#include "BaseKit/cKynException.h"
#include "PlotKit/cGraphObject.h"
#include "SimCore/cEquation.h"
#include "SimCore/cParameter.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationGroup.h"

#include <gmpxx.h>

namespace
{
// Gives up one link: the last holder of a parameter deletes it.
void releaseLink(cParameter* parameter)
{
    if (parameter == nullptr)
        return;
    if (parameter->getLinksNumber() >= 2)
        parameter->decrementLinks();
    else
        cParameter::deleteInstance(parameter);
}

// The registered parameter of that name, with one more link; cUnknownSymbol for any other name.
cParameter* linkVariable(std::string const& name, int line)
{
    cParameter* const parameter =
        myActiveSymbolManager != nullptr ? myActiveSymbolManager->getVariablePtr(name) : nullptr;
    if (parameter == nullptr)
        throw cUnknownSymbol("SimCore/cTestGraphHotPoint", "cTestGraphHotPoint::cTestGraphHotPoint", line,
                             name);
    parameter->createLink();
    return parameter;
}

float toFloat(mpf_class const& value)
{
    return float(value.get_d());
}
} // namespace

cTestGraphHotPoint::cTestGraphHotPoint(cConfigurationGroup* group, unsigned long color,
                                       std::string const& label)
    : cGraphHotPoint(color, label)
{
    try
    {
        std::string abscissaName;
        std::string ordinateName;
        group->findItem("", "Abscissa", abscissaName, true);
        m_abscissa = linkVariable(abscissaName, __LINE__);
        group->findItem("", "Ordinate", ordinateName, true);
        m_ordinate = linkVariable(ordinateName, __LINE__);
        std::string condition;
        if (group->findItem("", "Condition", condition, false) != 0)
            m_condition = cEquation::createEquation(condition);
    }
    catch (...)
    {
        // The destructor does not run for a constructor that throws: the links go back here.
        releaseLink(m_ordinate);
        releaseLink(m_abscissa);
        m_ordinate = nullptr;
        m_abscissa = nullptr;
        throw;
    }
}

cTestGraphHotPoint::cTestGraphHotPoint(cParameter* abscissa, cParameter* ordinate, cEquation* condition,
                                       unsigned long color, std::string const& label)
    : cGraphHotPoint(color, label), m_abscissa(abscissa), m_ordinate(ordinate), m_condition(condition)
{
    if (m_abscissa != nullptr)
        m_abscissa->createLink();
    if (m_ordinate != nullptr)
        m_ordinate->createLink();
}

cTestGraphHotPoint::~cTestGraphHotPoint()
{
    releaseLink(m_abscissa);
    releaseLink(m_ordinate);
    delete m_condition;
}

bool cTestGraphHotPoint::isLsb() const
{
    return getOwner() != nullptr && getOwner()->getLsbEnabled();
}

void cTestGraphHotPoint::getPosition(float& x, float& y) const
{
    mpf_class value;
    bool const lsb = isLsb();
    x = 0.0f;
    y = 0.0f;
    if (m_abscissa != nullptr)
    {
        // A time stays in ms on a raw view: only the criterion's values have raw units.
        if (lsb && !getTimeAbscissa())
            m_abscissa->getRawValue(value);
        else
            m_abscissa->getConvertedValue(value);
        x = toFloat(value);
    }
    if (m_ordinate != nullptr)
    {
        if (lsb)
            m_ordinate->getRawValue(value);
        else
            m_ordinate->getConvertedValue(value);
        y = toFloat(value);
    }
}

void cTestGraphHotPoint::setAbscissa(float x)
{
    if (m_abscissa == nullptr)
        return;
    if (getTimeAbscissa() || !isLsb())
        m_abscissa->setConvertedValue(mpf_class(double(x)), /*update=*/true, /*applyLimits=*/true);
    else
        m_abscissa->setRawValue(mpf_class(double(x)), /*update=*/true, /*applyLimits=*/true);
}

void cTestGraphHotPoint::setOrdinate(float y)
{
    if (m_ordinate == nullptr)
        return;
    if (isLsb())
        m_ordinate->setRawValue(mpf_class(double(y)), /*update=*/true, /*applyLimits=*/true);
    else
        m_ordinate->setConvertedValue(mpf_class(double(y)), /*update=*/true, /*applyLimits=*/true);
}

std::string cTestGraphHotPoint::getAbscissaName() const
{
    return m_abscissa != nullptr ? m_abscissa->getRegistrationName() : std::string();
}

std::string cTestGraphHotPoint::getOrdinateName() const
{
    return m_ordinate != nullptr ? m_ordinate->getRegistrationName() : std::string();
}

bool cTestGraphHotPoint::isConditionTrue() const
{
    return m_condition == nullptr || cmp(m_condition->evaluate(), 0) != 0;
}
