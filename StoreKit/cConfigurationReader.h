// Reads the text form of a configuration file into a tree of cConfigurationGroup: header fields
// ("@File Type", "@Project", "@Comment"), "key = value" items, "name {" ... "}" groups, '#'
// comments, and double-quoted texts with escapes. Every item and group keeps its line and the
// file path; any fault of the text stops the read with the file and the line in the message.
#pragma once

#include <string>

class cConfigurationGroup;

// The header fields of a file; a field that the file does not give is empty.
struct sConfigurationHeader
{
    std::string fileType;
    std::string project;
    std::string comment;
};

class cConfigurationReader
{
public:
    // Deeper nesting than this is refused: the tree is walked recursively, and a file built to
    // exhaust the stack must give an error, not a crash.
    static constexpr int maximumDepth = 1000;

    // Parses text into top, which is emptied first and takes path as its source file and line 0.
    // path is only used in messages and as the source of the items; it may be empty. A fault
    // throws cGenericException "Syntax error in file "<path>" at line <n>: <what>", and top is
    // then left partly filled.
    static sConfigurationHeader read(std::string const& text, std::string const& path,
                                     cConfigurationGroup& top);
};
