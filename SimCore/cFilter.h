// The filter files: a .flt file gives a pole filter its name, direct transfer, gain and poles; a .dft
// file gives a digital filter its name, blocks processing mode, sampling rate range and blocks. Each
// filter object is CalcKit's filter (the arithmetic, CalcKit/CPoleFilter.h and CDigitalFilter.h) and a
// file-configured object that reads its file once, when it is made. cKynPreprocessor makes them for its
// four filter types from its key "Filter".
#pragma once

#include "CalcKit/CDigitalFilter.h"
#include "CalcKit/CPoleFilter.h"
#include "SimCore/cFileConfigured.h"

#include <string>

class cConfigurationGroup;

// The .flt side.
class cKynFilter : public cFileConfigured
{
public:
    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);
};

// The .dft side.
class cKynDFilter : public cFileConfigured
{
public:
    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);
};

// T: cPoleFilter, cStabilizedPoleFilter or cAutoStabilizedPoleFilter. The type text is T's. A file
// that cannot be opened gives cFstreamOpenException; any failure leaves no object.
template <class T> class cKynPoleFilter : public T, public cKynFilter
{
public:
    cKynPoleFilter(std::string name, std::string const& fileName);

protected:
    // "Name", "Direct Transfer" and "Gain" (all mandatory), then the poles.
    void setConfiguration(std::string const& fileName) override;
    // The poles anew, in file order: "Real Pole" groups ("Pole", "Residue") and "Complex Pole" groups
    // ("PoleRealPart", "PoleImaginaryPart", "ResidueRealPart", "ResidueImaginaryPart"), all mandatory and
    // read as float, so that a file's digits beyond a float's are lost (the format says so). Other
    // groups are passed over.
    void readPoleFromConfigurationFile(cConfigurationGroup* root);
};

// T: CDigitalFilter, type text "Digital Filter".
template <class T> class cKynDigitalFilter : public T, public cKynDFilter
{
public:
    cKynDigitalFilter(std::string name, std::string const& fileName);

protected:
    // "Name", "Blocks Processing Mode", "Min Sampling Rate" and "Max Sampling Rate" (all mandatory),
    // then the blocks, then the filter's check. A failure after the opening names the file.
    void setConfiguration(std::string const& fileName) override;
    // The blocks anew, from the groups named "Block" in file order: "Computation Method" and "Filter
    // Type" (mandatory), then "A0", "A1", ... and "B0", "B1", ... up to the first number missing. An
    // item left unread (a hole in the numbering, a key given twice, a key of no meaning) is shown as an
    // error and refused with cIncompatibleParametersException naming the group.
    void readBlocksDataFromConfigurationFile(cConfigurationGroup* root);
};

extern template class cKynPoleFilter<cPoleFilter>;
extern template class cKynPoleFilter<cStabilizedPoleFilter>;
extern template class cKynPoleFilter<cAutoStabilizedPoleFilter>;
extern template class cKynDigitalFilter<CDigitalFilter>;
