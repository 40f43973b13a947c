// cSvgWriter: the text of an SVG picture as cSvgRenderer writes it: one element a line, attributes in
// the order given, coordinates as whole pixels, and the text forms that a picture needs to come out
// the same on every machine (locale-free numbers, escaped and valid UTF-8 text, "#rrggbb" colours).
// cSvgPointList gathers the pixel points of a polyline or polygon.
#pragma once

#include <cstddef>
#include <string>

class cSvgWriter
{
public:
    // The text written so far, for the caller to finish or take.
    std::string& text() { return m_out; }

    // Starts an element: attributes follow, then close() or content().
    cSvgWriter& open(char const* name);
    cSvgWriter& attr(char const* name, long value);
    cSvgWriter& attr(char const* name, std::string const& value);
    cSvgWriter& attr(char const* name, char const* value);
    // Ends the element as empty.
    void close();
    // Ends the element with its content, which is escaped already.
    void content(std::string const& escaped);

    // A line in one colour, dashed when `dash` is given ("6 3").
    void line(int x1, int y1, int x2, int y2, char const* stroke, char const* dash = nullptr);
    // Escaped text at (x, y), its anchor "start", "middle" or "end".
    void label(int x, int y, char const* anchor, std::string const& escaped, std::string const& fill,
               int size);

    // COLORREF (0x00BBGGRR, red in the low byte, as the model stores colours) as "#rrggbb".
    static std::string colour(unsigned long colorref);
    // See cSvgRenderer::escapeXml and cSvgRenderer::formatNumber.
    static std::string escape(std::string const& text);
    static std::string number(double value, int decimals);
    // At most `limit` characters of an escaped text, "…" standing for the rest; the cut never splits
    // an entity or a UTF-8 sequence.
    static std::string shortened(std::string const& escaped, std::size_t limit);
    // The characters that an escaped text shows (an entity is one).
    static std::size_t characterCount(std::string const& escaped);

private:
    cSvgWriter& raw(char const* name, std::string const& value);

    std::string m_out;
    char const* m_name = "";
};

// "x,y x,y ..." of pixel points, a point equal to the one before it left out.
class cSvgPointList
{
public:
    void add(int x, int y);
    std::string const& text() const { return m_text; }
    unsigned int count() const { return m_count; }
    int lastX() const { return m_x; }
    int lastY() const { return m_y; }

private:
    std::string m_text;
    unsigned int m_count = 0;
    int m_x = 0;
    int m_y = 0;
};
