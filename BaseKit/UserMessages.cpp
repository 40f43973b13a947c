#include "BaseKit/UserMessages.h"

#include "BaseKit/cKynException.h"

#include <atomic>
#include <iostream>
#include <mutex>

namespace
{
// Writes every message to stderr and answers a question with its default button, so that a
// host without dialogs (the command-line runner, batch jobs) never blocks.
class cStderrSink : public IUserMessageSink
{
public:
    void showException(cKynException const& exception) override
    {
        write("Error", std::string(exception.what()) + "\n(" + exception.getLocation() + ")");
    }
    void showError(std::string const& text) override { write("Error", text); }
    void showWarning(std::string const& text) override { write("Warning", text); }
    void showInformation(std::string const& text) override { write("Information", text); }
    int askYesNo(std::string const& text, int defaultAnswer) override
    {
        write("Question", text + "\n-> " + (defaultAnswer == kIdYes ? "Yes" : "No") + " (default answer)");
        return defaultAnswer;
    }
    void showScrollMessage(std::string const& title, std::string const& text, int) override
    {
        write(title, text);
    }

private:
    void write(std::string const& kind, std::string const& text)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::cerr << kind << ": " << text << std::endl;
    }

    std::mutex m_mutex;
};

cStderrSink& defaultSink()
{
    static cStderrSink sink;
    return sink;
}

std::atomic<IUserMessageSink*> g_sink{nullptr};

IUserMessageSink& sink()
{
    IUserMessageSink* installed = g_sink.load();
    return installed ? *installed : defaultSink();
}
} // namespace

IUserMessageSink* setUserMessageSink(IUserMessageSink* newSink)
{
    return g_sink.exchange(newSink);
}

IUserMessageSink* getUserMessageSink()
{
    return &sink();
}

void doException(cKynException& exception)
{
    sink().showException(exception);
}

void doErrorMessage(std::string const& text)
{
    sink().showError(text);
}

void doWarningMessage(std::string const& text)
{
    sink().showWarning(text);
}

void doInformationMessage(std::string const& text)
{
    sink().showInformation(text);
}

int doYesNoQuestion(std::string const& text, int defaultAnswer)
{
    return sink().askYesNo(text, defaultAnswer);
}

void displayScrollMessage(std::string const& title, std::string const& text, int flags)
{
    sink().showScrollMessage(title, text, flags);
}
