#include "BaseKit/UserMessages.h"

#include "BaseKit/IHostWindow.h"
#include "BaseKit/cKynException.h"
#include "tests/support/cKitFixture.h"

#include <gtest/gtest.h>

using UserMessages = cKitFixture;

TEST_F(UserMessages, GoToTheInstalledSinkAndQuestionsFollowTheScript)
{
    cGenericException failure("s", "f", 1, "It failed");
    doException(failure);
    doErrorMessage("e");
    doWarningMessage("w");
    doInformationMessage("i");
    displayScrollMessage("Report", "line 1\nline 2", 0);
    messages.scriptAnswers({kIdYes});
    EXPECT_EQ(kIdYes, doYesNoQuestion("Set it to the closest limit?", kIdNo));
    // Past the script, a question is answered with its default button.
    EXPECT_EQ(kIdNo, doYesNoQuestion("Again?", kIdNo));

    std::vector<std::string> shown;
    for (auto const& entry : messages.entries())
        shown.push_back(entry.kind + "|" + entry.title + "|" + entry.text);
    EXPECT_EQ((std::vector<std::string>{"exception|cGenericException|It failed", "error||e", "warning||w",
                                        "information||i", "scroll|Report|line 1\nline 2",
                                        "question|7|Set it to the closest limit?", "question|7|Again?"}),
              shown);
}

// Null puts the default sink back: it writes to stderr and answers with the default button.
TEST_F(UserMessages, DefaultSinkAnswersWithTheDefaultButton)
{
    EXPECT_EQ(&messages, setUserMessageSink(nullptr));
    IUserMessageSink* const defaultSink = getUserMessageSink();
    EXPECT_TRUE(defaultSink != nullptr && defaultSink != &messages);
    testing::internal::CaptureStderr();
    int const answers = doYesNoQuestion("Overwrite?", kIdNo) * 10 + doYesNoQuestion("Continue?", kIdYes);
    std::string const printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(nullptr, setUserMessageSink(&messages));
    EXPECT_EQ(kIdNo * 10 + kIdYes, answers);
    EXPECT_NE(std::string::npos, printed.find("Overwrite?"));
    EXPECT_TRUE(messages.entries().empty());
}

using IHostWindowTest = cKitFixture;

TEST_F(IHostWindowTest, MessagesGoToTheRegisteredWindowAndNowhereWithoutOne)
{
    EXPECT_EQ(&window, getMainWndH());
    SendMessageA(getMainWndH(), 0x9E3, 0, 0);
    EXPECT_TRUE(PostMessageA(getMainWndH(), 2067, 5, 7));
    std::vector<std::vector<long long>> sent;
    for (auto const& m : window.messages())
        sent.push_back({m.sent, m.message, static_cast<long long>(m.wParam), m.lParam});
    EXPECT_EQ((std::vector<std::vector<long long>>{{1, 0x9E3, 0, 0}, {0, 2067, 5, 7}}), sent);

    EXPECT_EQ(&window, setMainWndH(nullptr));
    EXPECT_EQ(0, SendMessageA(getMainWndH(), 0x9E3, 0, 0));
    EXPECT_FALSE(PostMessageA(getMainWndH(), 0x9E3, 0, 0));
    setMainWndH(&window);
    EXPECT_EQ(2u, window.messages().size());
}
