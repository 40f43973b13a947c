// Writes a tree of cConfigurationGroup in the text form that cConfigurationReader reads: header
// fields, then the items of each group before its subgroups, 4 blanks of indentation per level.
// Texts are quoted only when the plain form would not read back the same; whatever is written
// here reads back to the same keys, values, names and order.
#pragma once

#include "StoreKit/cConfigurationReader.h"

#include <string>

class cConfigurationGroup;

class cConfigurationWriter
{
public:
    // The whole text of a file. With a header: "@File Type" when not empty, "@Project" always,
    // "@Comment" when not empty; with null, no header lines. The name of top is not written.
    // The text ends with a newline (unless it is empty) and no line has trailing blanks.
    static std::string write(cConfigurationGroup const& top, sConfigurationHeader const* header);

    // A value as it stands after "key = ": quoted when it is empty, has outer blanks, holds a
    // control character or starts with '"'.
    static std::string formatValue(std::string const& value);
    // A key or group name: quoted when it is empty, has outer blanks, holds '=', '{', '}', '"' or a
    // control character, or starts with '#', '@' or a UTF-8 byte-order mark.
    static std::string formatName(std::string const& name);
    // The double-quoted form, with escapes \\ \" \n \r \t and \xHH for other control characters.
    static std::string quote(std::string const& text);
};
