#include "StoreKit/cConfigurationReader.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationGroup.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>
#include <vector>

namespace
{
char const* const g_source = "StoreKit/cConfigurationReader";
char const* const g_function = "cConfigurationReader::read";
std::string_view const g_byteOrderMark = "\xEF\xBB\xBF";

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

std::string_view trimBlanks(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
    {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back()))
    {
        text.remove_suffix(1);
    }
    return text;
}

std::string quoted(std::string_view text)
{
    std::string result;
    result.reserve(text.size() + 2);
    result += '"';
    result += text;
    result += '"';
    return result;
}

// The state of one read: where it stands, for the messages, and the groups still open.
class cTextParser
{
public:
    cTextParser(std::string const& path, cConfigurationGroup& top)
        : m_path(path), m_source(std::make_shared<std::string const>(path))
    {
        top.clear();
        top.setOrigin(0, m_source);
        m_open.push_back(&top);
    }

    sConfigurationHeader parse(std::string_view text)
    {
        if (text.substr(0, g_byteOrderMark.size()) == g_byteOrderMark)
        {
            text.remove_prefix(g_byteOrderMark.size());
        }
        while (!text.empty())
        {
            std::size_t const end = text.find('\n');
            std::string_view line = text.substr(0, end);
            text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
            ++m_lineNumber;
            if (!line.empty() && line.back() == '\r')
            {
                line.remove_suffix(1);
            }
            parseLine(trimBlanks(line));
        }
        if (m_open.size() > 1)
        {
            cConfigurationGroup const* group = m_open.back();
            fail("group " + quoted(group->getName()) + " opened at line " +
                 std::to_string(group->getLineNumber()) + " is not closed at the end of the file.");
        }
        return m_header;
    }

private:
    [[noreturn]] void fail(std::string const& what) const
    {
        std::string text = "Syntax error";
        if (!m_path.empty())
        {
            text += " in file " + quoted(m_path);
        }
        throw cGenericException(g_source, g_function, __LINE__,
                                text + " at line " + std::to_string(m_lineNumber) + ": " + what);
    }

    void parseLine(std::string_view line)
    {
        if (line.empty() || line.front() == '#')
        {
            return;
        }
        if (line == "}")
        {
            if (m_open.size() == 1)
            {
                fail("'}' without an open group.");
            }
            m_open.pop_back();
            return;
        }
        if (line.front() == '@')
        {
            parseHeaderField(line);
            return;
        }
        if (line.front() == '"')
        {
            std::size_t position = 0;
            std::string name = readQuoted(line, position);
            std::string_view const after = trimBlanks(line.substr(position));
            if (after.empty())
            {
                failNeither();
            }
            if (after.front() == '=')
            {
                addItem(std::move(name), readValue(after.substr(1)));
            }
            else if (after.front() == '{' && trimBlanks(after.substr(1)).empty())
            {
                openGroup(std::move(name));
            }
            else
            {
                fail("unexpected text after a closing quote.");
            }
            return;
        }
        std::size_t const equal = line.find('=');
        if (equal != std::string_view::npos)
        {
            addItem(std::string(trimBlanks(line.substr(0, equal))), readValue(line.substr(equal + 1)));
        }
        else if (line.back() == '{')
        {
            openGroup(std::string(trimBlanks(line.substr(0, line.size() - 1))));
        }
        else
        {
            failNeither();
        }
    }

    [[noreturn]] void failNeither() const
    {
        fail("the line is neither an item \"key = value\", a group \"name {\", a comment \"# ...\" nor '}'.");
    }

    void parseHeaderField(std::string_view line)
    {
        std::size_t const equal = line.find('=');
        std::string shown = "@";
        shown +=
            trimBlanks(line.substr(1, equal == std::string_view::npos ? std::string_view::npos : equal - 1));
        std::string* field = nullptr;
        if (shown == "@File Type")
        {
            field = &m_header.fileType;
        }
        else if (shown == "@Project")
        {
            field = &m_header.project;
        }
        else if (shown == "@Comment")
        {
            field = &m_header.comment;
        }
        else
        {
            fail("unknown header field " + quoted(shown) + ".");
        }
        if (equal == std::string_view::npos)
        {
            fail("header field " + quoted(shown) + " without '='.");
        }
        if (m_bodyStarted)
        {
            fail("header field " + quoted(shown) + " after the first item or group.");
        }
        for (std::string const* seen : m_seenFields)
        {
            if (seen == field)
            {
                fail("header field " + quoted(shown) + " given twice.");
            }
        }
        m_seenFields.push_back(field);
        *field = readValue(line.substr(equal + 1));
    }

    void addItem(std::string key, std::string value)
    {
        m_bodyStarted = true;
        m_open.back()->addInformationItem(
            sInformationItem{std::move(key), std::move(value), m_lineNumber, m_source});
    }

    void openGroup(std::string name)
    {
        m_bodyStarted = true;
        if (m_open.size() > static_cast<std::size_t>(cConfigurationReader::maximumDepth))
        {
            fail("groups are nested deeper than " + std::to_string(cConfigurationReader::maximumDepth) +
                 " levels.");
        }
        auto group = std::make_unique<cConfigurationGroup>(std::move(name));
        group->setOrigin(m_lineNumber, m_source);
        cConfigurationGroup* opened = group.get();
        m_open.back()->addConfigurationGroup(group.release());
        m_open.push_back(opened);
    }

    // A value: the text with outer blanks trimmed, or one quoted text and nothing after it.
    std::string readValue(std::string_view text) const
    {
        text = trimBlanks(text);
        if (text.empty() || text.front() != '"')
        {
            return std::string(text);
        }
        std::size_t position = 0;
        std::string value = readQuoted(text, position);
        if (position != text.size())
        {
            fail("unexpected text after a closing quote.");
        }
        return value;
    }

    // Reads the quoted text that opens at text[position]; position ends behind the closing quote.
    std::string readQuoted(std::string_view text, std::size_t& position) const
    {
        std::string result;
        ++position;
        while (true)
        {
            if (position >= text.size())
            {
                fail("unterminated quoted text.");
            }
            char const c = text[position++];
            if (c == '"')
            {
                return result;
            }
            if (c != '\\')
            {
                result += c;
                continue;
            }
            if (position >= text.size())
            {
                fail("unterminated quoted text.");
            }
            char const escape = text[position++];
            switch (escape)
            {
            case '\\':
            case '"':
                result += escape;
                break;
            case 'n':
                result += '\n';
                break;
            case 'r':
                result += '\r';
                break;
            case 't':
                result += '\t';
                break;
            case 'x':
            {
                // Exactly two hexadecimal digits; from_chars into an unsigned type takes no sign.
                unsigned int byte = 0;
                char const* const first = text.data() + position;
                char const* const last = text.data() + std::min(text.size(), position + 2);
                auto const [end, error] = std::from_chars(first, last, byte, 16);
                if (error != std::errc() || end != first + 2)
                {
                    fail("bad escape sequence " + quoted("\\x" + std::string(text.substr(position, 2))) +
                         " in a quoted text.");
                }
                result += static_cast<char>(byte);
                position += 2;
                break;
            }
            default:
                fail("bad escape sequence " + quoted(std::string("\\") + escape) + " in a quoted text.");
            }
        }
    }

    std::string const& m_path;
    std::shared_ptr<std::string const> m_source;
    std::vector<cConfigurationGroup*> m_open;
    sConfigurationHeader m_header;
    std::vector<std::string const*> m_seenFields;
    bool m_bodyStarted = false;
    int m_lineNumber = 0;
};
} // namespace

sConfigurationHeader cConfigurationReader::read(std::string const& text, std::string const& path,
                                                cConfigurationGroup& top)
{
    cTextParser parser(path, top);
    return parser.parse(text);
}
