// Test doubles shared by all test binaries: a user-message sink and a host window that record
// what they receive, and a trace sink that collects lines. Each installs itself on construction
// and restores what was there before on destruction.
#pragma once

#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

class cRecordingMessageSink : public IUserMessageSink
{
public:
    struct sEntry
    {
        std::string kind; // "exception", "error", "warning", "information", "question", "scroll"
        std::string text;
        std::string title; // scroll messages: title; exceptions: class name; questions: default answer
    };

    cRecordingMessageSink() : m_previous(setUserMessageSink(this)) {}
    ~cRecordingMessageSink() override { setUserMessageSink(m_previous); }

    void showException(cKynException const& exception) override
    {
        add({"exception", exception.what(), exception.getClassName()});
    }
    void showError(std::string const& text) override { add({"error", text, ""}); }
    void showWarning(std::string const& text) override { add({"warning", text, ""}); }
    void showInformation(std::string const& text) override { add({"information", text, ""}); }
    int askYesNo(std::string const& text, int defaultAnswer) override
    {
        add({"question", text, std::to_string(defaultAnswer)});
        if (onQuestion)
            onQuestion(); // e.g. a host's dialog handler that re-enters the caller while the box is open
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_answers.empty())
        {
            return defaultAnswer;
        }
        int answer = m_answers.front();
        m_answers.pop_front();
        return answer;
    }
    void showScrollMessage(std::string const& title, std::string const& text, int) override
    {
        add({"scroll", text, title});
    }

    // Answers given to the next questions, in order; then the default button.
    void scriptAnswers(std::vector<int> const& answers)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_answers.assign(answers.begin(), answers.end());
    }
    // Runs on every question, after it was recorded and before it is answered.
    std::function<void()> onQuestion;
    std::vector<sEntry> entries() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_entries;
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.clear();
    }

private:
    void add(sEntry entry)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.push_back(std::move(entry));
    }

    IUserMessageSink* m_previous;
    mutable std::mutex m_mutex;
    std::vector<sEntry> m_entries;
    std::deque<int> m_answers;
};

class cRecordingHostWindow : public IHostWindow
{
public:
    struct sMessage
    {
        bool sent; // true: sendMessage, false: postMessage
        uint32_t message;
        uintptr_t wParam;
        intptr_t lParam;
    };

    cRecordingHostWindow() : m_previous(setMainWndH(this)) {}
    ~cRecordingHostWindow() override { setMainWndH(m_previous); }

    intptr_t sendMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_messages.push_back({true, message, wParam, lParam});
        return 0;
    }
    bool postMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_messages.push_back({false, message, wParam, lParam});
        return true;
    }
    std::vector<sMessage> messages() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_messages;
    }

private:
    IHostWindow* m_previous;
    mutable std::mutex m_mutex;
    std::vector<sMessage> m_messages;
};

// Collects trace lines at the given level and restores the previous level and sink. onLine, given
// at construction, sees each line as it comes, on the thread that writes it (a test waits on a line
// of another thread this way).
class cRecordingTraceSink
{
public:
    explicit cRecordingTraceSink(int level, std::function<void(std::string const&)> onLine = {})
        : m_previousLevel(cTraceProvider::g_loggingLevel)
    {
        m_previousSink = cTraceProvider::setSink(
            [this, onLine](int, std::string const& line)
            {
                {
                    std::lock_guard<std::mutex> lock(m_mutex);
                    m_lines.push_back(line);
                }
                if (onLine)
                    onLine(line);
            });
        cTraceProvider::g_loggingLevel = level;
    }
    ~cRecordingTraceSink()
    {
        cTraceProvider::g_loggingLevel = m_previousLevel;
        cTraceProvider::setSink(m_previousSink);
    }
    std::vector<std::string> lines() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }
    // The lines with everything up to and including the first "] " removed.
    std::vector<std::string> texts() const
    {
        std::vector<std::string> result;
        for (auto const& line : lines())
        {
            auto pos = line.find("] ");
            result.push_back(pos == std::string::npos ? line : line.substr(pos + 2));
        }
        return result;
    }

private:
    int m_previousLevel;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
    cTraceProvider::tSink m_previousSink;
};
