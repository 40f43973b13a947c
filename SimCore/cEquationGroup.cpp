#include "SimCore/cEquationGroup.h"

#include "SimCore/cParameter.h"

cParameterLinked::cParameterLinked(cParameter* p) : m_parameter(p)
{
    if (m_parameter != nullptr)
        m_parameter->createLink();
}

cParameterLinked::~cParameterLinked()
{
    if (m_parameter != nullptr)
        cParameter::deleteInstance(m_parameter);
}

void cParameterLinked::replaceParameter(cParameter* p)
{
    cParameter* const present = m_parameter;
    if (p != nullptr)
        p->createLink();
    m_parameter = p;
    if (present != nullptr)
        cParameter::deleteInstance(present);
}

cParameter* cParameterLinked::releaseParameter()
{
    cParameter* const p = m_parameter;
    m_parameter = nullptr;
    return p;
}
