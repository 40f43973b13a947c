// The smallest concrete calibration: the library's calibration with the host's one pure operation
// answered, read from a description file (or none).
#pragma once

#include "SimCore/cCalibration.h"

#include <string>

class cTestCalibration : public cCalibration
{
public:
    explicit cTestCalibration(std::string const& descriptionPath) : cCalibration(descriptionPath) {}

    std::string getAlgorithmGeneration() const override { return "test generation"; }
};
