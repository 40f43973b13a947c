#include "StoreKit/cConfigurationWriter.h"

#include "StoreKit/cConfigurationGroup.h"

namespace
{
bool isControl(char c)
{
    unsigned char const byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

bool hasOuterBlank(std::string const& text)
{
    return !text.empty() && (text.front() == ' ' || text.back() == ' ');
}

bool hasControl(std::string const& text)
{
    for (char c : text)
    {
        if (isControl(c))
        {
            return true;
        }
    }
    return false;
}

void writeGroup(std::string& out, cConfigurationGroup const& group, int level)
{
    std::string const indent(static_cast<std::size_t>(level) * 4, ' ');
    for (sInformationItem const& item : group.getInformationRange())
    {
        out += indent + cConfigurationWriter::formatName(item.key) + " = " +
               cConfigurationWriter::formatValue(item.value) + "\n";
    }
    unsigned int cursor = 0;
    for (cConfigurationGroup const* child = group.firstConfigurationGroup(cursor); child;
         child = group.nextConfigurationGroup(cursor))
    {
        out += indent + cConfigurationWriter::formatName(child->getName()) + " {\n";
        writeGroup(out, *child, level + 1);
        out += indent + "}\n";
    }
}
} // namespace

std::string cConfigurationWriter::write(cConfigurationGroup const& top, sConfigurationHeader const* header)
{
    std::string out;
    if (header)
    {
        if (!header->fileType.empty())
        {
            out += "@File Type = " + formatValue(header->fileType) + "\n";
        }
        out += "@Project = " + formatValue(header->project) + "\n";
        if (!header->comment.empty())
        {
            out += "@Comment = " + formatValue(header->comment) + "\n";
        }
    }
    writeGroup(out, top, 0);
    return out;
}

std::string cConfigurationWriter::formatValue(std::string const& value)
{
    // Tabs are control characters, so the blank test only needs the space.
    bool const mustQuote = value.empty() || hasOuterBlank(value) || hasControl(value) || value.front() == '"';
    return mustQuote ? quote(value) : value;
}

std::string cConfigurationWriter::formatName(std::string const& name)
{
    bool mustQuote = name.empty() || hasOuterBlank(name) || hasControl(name) || name.front() == '#' ||
                     name.front() == '@' || name.compare(0, 3, "\xEF\xBB\xBF") == 0;
    mustQuote = mustQuote || name.find_first_of("={}\"") != std::string::npos;
    return mustQuote ? quote(name) : name;
}

std::string cConfigurationWriter::quote(std::string const& text)
{
    static char const digits[] = "0123456789ABCDEF";
    std::string out = "\"";
    for (char c : text)
    {
        switch (c)
        {
        case '\\':
            out += "\\\\";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (isControl(c))
            {
                unsigned char const byte = static_cast<unsigned char>(c);
                out += "\\x";
                out += digits[byte >> 4];
                out += digits[byte & 0x0F];
            }
            else
            {
                out += c;
            }
        }
    }
    return out + "\"";
}
