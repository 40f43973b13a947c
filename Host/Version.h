// The version of SimCore that the reference host reports in its traceability records and its --version.
#pragma once

#include <string>

std::string simcoreVersion();
