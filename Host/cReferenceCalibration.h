// The reference host's calibration: the parameters of the frontal algorithm (cFrontalAlgorithm), read
// from their description file. It answers the algorithm generation the description names, refuses a
// description that lacks a parameter the algorithm reads (so that a study fails at its start rather
// than at its first crash file), and lists its parameters for the host's reports.
#pragma once

#include "SimCore/cCalibration.h"

#include <string>
#include <vector>

class cReferenceCalibration : public cCalibration
{
public:
    // Reads the description; a missing parameter of the frontal algorithm throws cGenericException
    // naming the parameters and the file.
    explicit cReferenceCalibration(std::string const& descriptionPath);

    // The description's "Algorithm Generation", its "Name" when it has none.
    std::string getAlgorithmGeneration() const override;
    // The calibration, its files, then one line per parameter in description order: name, value and
    // unit, raw value, EEPROM cell and lock state.
    void generateInformation(std::vector<std::string>& lines) override;

private:
    std::string m_generation;
};
