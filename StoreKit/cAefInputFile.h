// An EEPROM file (.aef): the calibration values as the ECU's EEPROM cells hold them, raw integers by
// EEPROM name. The calibration writes one from its parameters and loads one back into them. It is
// a configuration text file whose group "PARAM" holds one "EEPROM name = value" item per cell, the
// value in hexadecimal of the cell's size (1 to 8 bytes, two's complement for a negative number).
// The layout, with an example, is described in docs/calibration.md.
#pragma once

#include "StoreKit/cCfgInputFile.h"

#include <gmpxx.h>
#include <string>
#include <vector>

// How getItemValue ended, through its error argument.
enum EAefItemError : unsigned int
{
    aefItemRead = 0,     // the value was read and lies within the bounds
    aefItemMissing = 1,  // no item of that EEPROM name in group "PARAM"
    aefItemUnusable = 2, // not a hexadecimal number, wider than the cell, or outside the bounds
};

class cAefInputFile : public cCfgInputFile
{
public:
    static constexpr char const* paramGroupName = "PARAM";
    static constexpr char const* calibrationNameKey = "Calibration Name";
    // The "@File Type" that a written EEPROM file carries.
    static constexpr char const* fileTypeName = "EEPROM";

    // Makes the file object of path; the caller owns the result. mode 1 reads: open() then fills
    // the tree and checks its form. mode 2 writes: the tree starts with an empty group "PARAM", so
    // that a file with no cell still reads back. A null path or a mode other than 1 or 2 throws
    // cGenericException.
    static cAefInputFile* createFile(char const* path, int mode);

    // Sets the root item "Calibration Name": the calibration file (or calibration) the values came
    // from. A file holds one name; a second call replaces it.
    void addCalibrationName(std::string const& name);
    // The root item "Calibration Name"; "" when the file has none.
    std::string getCalibrationName() const;

    // Appends "name = 0x..." to group "PARAM": the whole part of value (a fraction is truncated
    // toward zero; the calibration rounds before) in 2 x size upper-case hexadecimal digits, a
    // negative number in two's complement of the cell. Throws cGenericException, and adds nothing,
    // for a size outside 1 to 8, a value that the cell cannot hold in either reading (below
    // -2^(8 size - 1) or above 2^(8 size) - 1), or a name already in the group: such a file could
    // not be loaded back.
    void addItem(std::string const& name, mpf_class const& value, unsigned char size);

    // The value of the first item of that EEPROM name in group "PARAM": hexadecimal digits, with or
    // without "0x", either case, blanks around ignored, at most the cell's size once leading zeros
    // are dropped. Signed (isUnsigned false): the top bit of the cell marks a negative number. The
    // value must lie within [minimum, maximum], which are raw (LSB) bounds.
    // With error null, a missing name throws cMissingItem and any other failure cGenericException,
    // both naming the file (and the line of the item when it was read from the file). With error
    // set, nothing is thrown: *error receives an EAefItemError on every call, and the result is 0
    // whenever it is not aefItemRead.
    mpf_class getItemValue(std::string const& name, unsigned char size, bool isUnsigned, mpf_class minimum,
                           mpf_class maximum, unsigned int* error) const;

    // The EEPROM names of the parameters that are floats in the calibration: their value was
    // rounded to an integer when it was added. Kept with the file object, not written into it.
    void addFloatParameter(std::string const& eepromName) { m_floatParameters.push_back(eepromName); }
    void clearFloatParameters() { m_floatParameters.clear(); }
    std::vector<std::string> const& getFloatParameters() const { return m_floatParameters; }

protected:
    cAefInputFile(std::string const& path, int mode);

    // One group "PARAM", and only items in it: anything else throws, naming the file and the line.
    void checkTree(cConfigurationGroup const& tree) const override;

private:
    // Group "PARAM", made when the tree has none yet (a file to read, before open()).
    cConfigurationGroup& paramGroup();

    std::vector<std::string> m_floatParameters;
};
