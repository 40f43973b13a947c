#include "BaseKit/cTraceProvider.h"

#include <ctime>
#include <iostream>
#include <mutex>
#include <utility>

int cTraceProvider::g_loggingLevel = 0;
char const cTraceProvider::g_loggingLevels[5][6] = {"OFF  ", "ERROR", "INFO ", "DEBUG", "TRACE"};

namespace
{
std::mutex& traceMutex()
{
    static std::mutex mutex;
    return mutex;
}

cTraceProvider::tSink& currentSink()
{
    static cTraceProvider::tSink sink;
    return sink;
}

char const* levelName(int level)
{
    if (level < 0)
    {
        level = 0;
    }
    if (level > 4)
    {
        level = 4;
    }
    return cTraceProvider::g_loggingLevels[level];
}
} // namespace

cTraceProvider::cTraceProvider(std::string const& name) : m_traceName(name) {}

cTraceProvider::~cTraceProvider() = default;

std::string cTraceProvider::getMidPart() const
{
    return " [" + m_traceName + " ";
}

void cTraceProvider::logImpl(int level, std::string const& text) const
{
    write(level,
          levelName(level) + getMidPart() + std::to_string(static_cast<long long>(clock())) + "] " + text);
}

void cTraceProvider::logGlobal(int level, std::string const& text)
{
    static cTraceProvider const global("SimCore");
    global.logImpl(level, text);
}

cTraceProvider::tSink cTraceProvider::setSink(tSink sink)
{
    std::lock_guard<std::mutex> lock(traceMutex());
    return std::exchange(currentSink(), std::move(sink));
}

void cTraceProvider::write(int level, std::string const& line)
{
    std::lock_guard<std::mutex> lock(traceMutex());
    if (currentSink())
    {
        currentSink()(level, line);
    }
    else
    {
        std::cerr << line << '\n';
    }
}

cScopeTrace::cScopeTrace(cTraceProvider const& provider, char const* scope)
    : m_provider(provider), m_scope(scope), m_opened(cTraceProvider::g_loggingLevel >= 4)
{
    if (m_opened)
    {
        m_provider.logImpl(4, std::string(">>>> ") + m_scope + " " + m_provider.getTraceName());
    }
}

cScopeTrace::~cScopeTrace()
{
    if (m_opened)
    {
        m_provider.logImpl(4, std::string("<<<< ") + m_scope + " " + m_provider.getTraceName());
    }
}
