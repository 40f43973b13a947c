// The modal messages that the library shows to the engineer: failures, errors, warnings,
// information, yes/no questions and long scrolling reports. They go to one replaceable sink:
// the host installs its dialogs, tests a recorder; the default writes to stderr.
#pragma once

#include <string>

class cKynException;

// Answers of doYesNoQuestion, as the callers test them.
constexpr int kIdYes = 6;
constexpr int kIdNo = 7;

class IUserMessageSink
{
public:
    virtual ~IUserMessageSink() = default;
    virtual void showException(cKynException const& exception) = 0;
    virtual void showError(std::string const& text) = 0;
    virtual void showWarning(std::string const& text) = 0;
    virtual void showInformation(std::string const& text) = 0;
    // Returns kIdYes or kIdNo; defaultAnswer is the button that has the focus.
    virtual int askYesNo(std::string const& text, int defaultAnswer) = 0;
    virtual void showScrollMessage(std::string const& title, std::string const& text, int flags) = 0;
};

// Installs a sink (null restores the default one) and returns the one it replaces.
// The sink is not owned.
IUserMessageSink* setUserMessageSink(IUserMessageSink* sink);
IUserMessageSink* getUserMessageSink();

void doException(cKynException& exception);
void doErrorMessage(std::string const& text);
void doWarningMessage(std::string const& text);
void doInformationMessage(std::string const& text);
int doYesNoQuestion(std::string const& text, int defaultAnswer);
// All load reports are gathered into one text and shown once through this.
void displayScrollMessage(std::string const& title, std::string const& text, int flags);
