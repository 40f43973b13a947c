#include "StoreKit/CSensorDefect.h"

#include "BaseKit/cKynException.h"

#include <utility>

CSensorDefect::CSensorDefect(std::string name, EDefectType type, float from, float to, bool used)
    : m_name(std::move(name)), m_type(type), m_from(from), m_to(to), m_used(used)
{
}

std::string CSensorDefect::defectTypeText(EDefectType type)
{
    switch (type)
    {
    case eDefectDeclaredInRecording:
        return "Declared in recording";
    case eDefectAddedOnTheFly:
        return "Added on the fly";
    }
    return std::string();
}

std::string CSensorDefect::getDefectTypeAsString() const
{
    return defectTypeText(m_type);
}

void CSensorDefect::setDefectTypeAsString(std::string const& text)
{
    for (EDefectType type : {eDefectDeclaredInRecording, eDefectAddedOnTheFly})
    {
        if (text == defectTypeText(type))
        {
            m_type = type;
            return;
        }
    }
    throw cGenericException("StoreKit/CSensorDefect", "CSensorDefect::setDefectTypeAsString", __LINE__,
                            "Unknown defect type \"" + text + "\"");
}
