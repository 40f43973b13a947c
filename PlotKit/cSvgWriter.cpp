#include "PlotKit/cSvgWriter.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace
{
// Length of the well-formed UTF-8 sequence at text[i] that XML accepts, or 0.
std::size_t utf8Length(std::string const& text, std::size_t i)
{
    auto const byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    unsigned char const lead = byte(i);
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xbf;
    if (lead >= 0xc2 && lead <= 0xdf)
        length = 2;
    else if (lead >= 0xe0 && lead <= 0xef)
    {
        length = 3;
        low = lead == 0xe0 ? 0xa0 : 0x80;
        high = lead == 0xed ? 0x9f : 0xbf; // no surrogates
    }
    else if (lead >= 0xf0 && lead <= 0xf4)
    {
        length = 4;
        low = lead == 0xf0 ? 0x90 : 0x80;
        high = lead == 0xf4 ? 0x8f : 0xbf;
    }
    if (length == 0 || i + length > text.size() || byte(i + 1) < low || byte(i + 1) > high)
        return 0;
    for (std::size_t k = 2; k < length; ++k)
        if (byte(i + k) < 0x80 || byte(i + k) > 0xbf)
            return 0;
    // U+FFFE and U+FFFF are not characters for XML.
    if (length == 3 && lead == 0xef && byte(i + 1) == 0xbf && byte(i + 2) >= 0xbe)
        return 0;
    return length;
}

// Bytes taken by the character at escaped[i] of an escaped, valid text.
std::size_t characterLength(std::string const& escaped, std::size_t i)
{
    unsigned char const c = static_cast<unsigned char>(escaped[i]);
    if (c == '&')
        return escaped.find(';', i) + 1 - i;
    return c < 0x80 ? 1 : c < 0xe0 ? 2 : c < 0xf0 ? 3 : 4;
}
} // namespace

cSvgWriter& cSvgWriter::open(char const* name)
{
    m_out += '<';
    m_out += name;
    m_name = name;
    return *this;
}

cSvgWriter& cSvgWriter::attr(char const* name, long value)
{
    char digits[24];
    auto const result = std::to_chars(digits, digits + sizeof digits, value);
    return raw(name, std::string(digits, result.ptr));
}

cSvgWriter& cSvgWriter::attr(char const* name, std::string const& value)
{
    return raw(name, value);
}

cSvgWriter& cSvgWriter::attr(char const* name, char const* value)
{
    return raw(name, value);
}

void cSvgWriter::close()
{
    m_out += "/>\n";
}

void cSvgWriter::content(std::string const& escaped)
{
    m_out += '>';
    m_out += escaped;
    m_out += "</";
    m_out += m_name;
    m_out += ">\n";
}

void cSvgWriter::line(int x1, int y1, int x2, int y2, char const* stroke, char const* dash)
{
    open("line").attr("x1", x1).attr("y1", y1).attr("x2", x2).attr("y2", y2).attr("stroke", stroke);
    if (dash != nullptr)
        attr("stroke-dasharray", dash);
    close();
}

void cSvgWriter::label(int x, int y, char const* anchor, std::string const& escaped, std::string const& fill,
                       int size)
{
    open("text").attr("x", x).attr("y", y).attr("text-anchor", anchor).attr("font-size", size);
    attr("fill", fill).content(escaped);
}

cSvgWriter& cSvgWriter::raw(char const* name, std::string const& value)
{
    m_out += ' ';
    m_out += name;
    m_out += "=\"";
    m_out += value;
    m_out += '"';
    return *this;
}

std::string cSvgWriter::colour(unsigned long colorref)
{
    static char const digits[] = "0123456789abcdef";
    std::string text = "#";
    for (unsigned int shift : {0u, 8u, 16u})
    {
        unsigned int const part = (colorref >> shift) & 0xffu;
        text += digits[part >> 4];
        text += digits[part & 0xfu];
    }
    return text;
}

std::string cSvgWriter::escape(std::string const& text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();)
    {
        unsigned char const c = static_cast<unsigned char>(text[i]);
        if (c < 0x80)
        {
            switch (c)
            {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&apos;";
                break;
            default:
                out += c < 0x20 && c != '\t' && c != '\n' && c != '\r' ? '?' : char(c);
            }
            ++i;
        }
        else if (std::size_t const length = utf8Length(text, i); length > 0)
        {
            out.append(text, i, length);
            i += length;
        }
        else
        {
            // Latin-1: the byte is the code point.
            out += char(0xc0 | (c >> 6));
            out += char(0x80 | (c & 0x3f));
            ++i;
        }
    }
    return out;
}

std::string cSvgWriter::number(double value, int decimals)
{
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return value > 0 ? "inf" : "-inf";
    // The largest double written in full takes 309 digits, before the decimals.
    char digits[400];
    auto const result = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed,
                                      std::clamp(decimals, 0, 17));
    std::string text(digits, result.ptr);
    if (text[0] == '-' && text.find_first_not_of("-0.") == std::string::npos)
        text.erase(0, 1);
    return text;
}

std::string cSvgWriter::shortened(std::string const& escaped, std::size_t limit)
{
    std::size_t characters = 0;
    for (std::size_t i = 0; i < escaped.size(); i += characterLength(escaped, i), ++characters)
        if (characters == limit)
            return escaped.substr(0, i).append("\xe2\x80\xa6");
    return escaped;
}

std::size_t cSvgWriter::characterCount(std::string const& escaped)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < escaped.size(); i += characterLength(escaped, i))
        ++count;
    return count;
}

void cSvgPointList::add(int x, int y)
{
    if (m_count > 0 && x == m_x && y == m_y)
        return;
    char digits[32];
    char* end = std::to_chars(digits, digits + 12, x).ptr;
    *end++ = ',';
    end = std::to_chars(end, digits + sizeof digits, y).ptr;
    if (m_count++ > 0)
        m_text += ' ';
    m_text.append(digits, end);
    m_x = x;
    m_y = y;
}
