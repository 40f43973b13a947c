// CSensorDefect: one defect of a sensor channel in a crash file, a time span in milliseconds over
// which the channel is taken as faulty. Recordings declare defects (a wire that broke during the
// test); the user adds others "on the fly" and switches each on or off for a study.
#pragma once
#include <string>

enum EDefectType
{
    // Declared by the recording itself; never acts on the samples.
    eDefectDeclaredInRecording = 0,
    // Added by the user; the only type that makes samples defective.
    eDefectAddedOnTheFly = 1
};

class CSensorDefect
{
public:
    CSensorDefect() = default;
    CSensorDefect(std::string name, EDefectType type, float from, float to, bool used);

    std::string const& getDefectName() const { return m_name; }
    void setDefectName(std::string name) { m_name = std::move(name); }
    EDefectType getDefectType() const { return m_type; }
    void setDefectType(EDefectType type) { m_type = type; }
    // "Declared in recording" or "Added on the fly".
    std::string getDefectTypeAsString() const;
    static std::string defectTypeText(EDefectType type);
    // One of the two texts, exactly; any other throws cGenericException naming it.
    void setDefectTypeAsString(std::string const& text);
    float getDefectFrom() const { return m_from; }
    void setDefectFrom(float from) { m_from = from; }
    float getDefectTo() const { return m_to; }
    void setDefectTo(float to) { m_to = to; }
    bool isUsedDefect() const { return m_used; }
    void setUsedDefect(bool used) { m_used = used; }
    // Set when the defect lasts to the end of its channel: the host then warns before it is moved.
    bool getEnableDefectPopup() const { return m_enablePopup; }
    void setEnableDefectPopup(bool enable) { m_enablePopup = enable; }

private:
    std::string m_name;
    EDefectType m_type = eDefectDeclaredInRecording;
    float m_from = 0.0f;
    float m_to = 0.0f;
    bool m_used = false;
    bool m_enablePopup = false;
};
