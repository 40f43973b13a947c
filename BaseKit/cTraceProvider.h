// Named trace of the stages and other long-lived objects. One global level gates every line
// before its text is built (use KYN_TRACE), and logImpl serialises the lines of all threads into
// one replaceable sink, stderr by default.
#pragma once

#include <functional>
#include <string>

class cTraceProvider
{
public:
    // Receives each finished line with its level; installed for the whole process.
    using tSink = std::function<void(int level, std::string const& line)>;

    explicit cTraceProvider(std::string const& name);
    cTraceProvider(cTraceProvider const&) = default;
    cTraceProvider& operator=(cTraceProvider const&) = default;
    virtual ~cTraceProvider();

    // Lines of a level above this value are not written. 0, the default, writes nothing.
    static int g_loggingLevel;
    // Level names, 5 characters each, indexed by the level (0 to 4).
    static char const g_loggingLevels[5][6];

    static bool isLogging(int level) { return g_loggingLevel >= level; }

    std::string const& getTraceName() const { return m_traceName; }
    // The part of a line between the level name and the clock: " [" and the trace name and " ".
    virtual std::string getMidPart() const;

    // Writes one line: level name, getMidPart(), clock(), "] ", text. Callers test the level first.
    void logImpl(int level, std::string const& text) const;

    // For code that has no trace of its own: the same line under the name "SimCore".
    static void logGlobal(int level, std::string const& text);

    // Replaces the sink; an empty function restores stderr. Returns the previous sink.
    static tSink setSink(tSink sink);

private:
    static void write(int level, std::string const& line);

    std::string m_traceName;
};

// A named logger that a long-lived object holds as a member.
class ObjectLogger : public cTraceProvider
{
public:
    explicit ObjectLogger(std::string const& name) : cTraceProvider(name) {}
};

// Writes ">>>> " scope " " trace name on entry and "<<<< " ... on leaving, at level 4.
class cScopeTrace
{
public:
    cScopeTrace(cTraceProvider const& provider, char const* scope);
    ~cScopeTrace();
    cScopeTrace(cScopeTrace const&) = delete;
    cScopeTrace& operator=(cScopeTrace const&) = delete;

private:
    cTraceProvider const& m_provider;
    char const* m_scope;
    bool m_opened;
};

// Writes a trace line only when the level asks for it; the text expression is not evaluated otherwise.
#define KYN_TRACE(provider, level, text)                                                                     \
    do                                                                                                       \
    {                                                                                                        \
        if (cTraceProvider::g_loggingLevel >= (level))                                                       \
        {                                                                                                    \
            (provider).logImpl((level), (text));                                                             \
        }                                                                                                    \
    } while (0)

#define KYN_TRACE_GLOBAL(level, text)                                                                        \
    do                                                                                                       \
    {                                                                                                        \
        if (cTraceProvider::g_loggingLevel >= (level))                                                       \
        {                                                                                                    \
            cTraceProvider::logGlobal((level), (text));                                                      \
        }                                                                                                    \
    } while (0)
