#include "BaseKit/UserMessages.h"

#include "BaseKit/IHostWindow.h"
#include "BaseKit/cKynException.h"
#include "tests/support/cRecordingSinks.h"

#include <gtest/gtest.h>

TEST(UserMessages, GoToTheInstalledSinkAndQuestionsFollowTheScript)
{
    cRecordingMessageSink sink;
    cGenericException failure("s", "f", 1, "It failed");
    doException(failure);
    doErrorMessage("e");
    doWarningMessage("w");
    doInformationMessage("i");
    displayScrollMessage("Report", "line 1\nline 2", 0);
    sink.scriptAnswers({kIdYes});
    EXPECT_EQ(kIdYes, doYesNoQuestion("Set it to the closest limit?", kIdNo));
    // Past the script, a question is answered with its default button.
    EXPECT_EQ(kIdNo, doYesNoQuestion("Again?", kIdNo));

    std::vector<std::string> shown;
    for (auto const& entry : sink.entries())
        shown.push_back(entry.kind + "|" + entry.title + "|" + entry.text);
    EXPECT_EQ((std::vector<std::string>{"exception|cGenericException|It failed", "error||e", "warning||w",
                                        "information||i", "scroll|Report|line 1\nline 2",
                                        "question|7|Set it to the closest limit?", "question|7|Again?"}),
              shown);
}

TEST(UserMessages, DefaultSinkAnswersWithTheDefaultButtonAndIsRestored)
{
    IUserMessageSink* original = getUserMessageSink();
    {
        cRecordingMessageSink sink;
        EXPECT_EQ(&sink, getUserMessageSink());
    }
    EXPECT_EQ(original, getUserMessageSink());
    testing::internal::CaptureStderr();
    EXPECT_EQ(kIdNo, doYesNoQuestion("Overwrite?", kIdNo));
    EXPECT_EQ(kIdYes, doYesNoQuestion("Continue?", kIdYes));
    std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, printed.find("Overwrite?"));
}

TEST(IHostWindow, NothingIsSentWithoutAWindow)
{
    ASSERT_EQ(nullptr, getMainWndH());
    EXPECT_EQ(0, SendMessageA(getMainWndH(), 0x9E3, 0, 0));
    EXPECT_FALSE(PostMessageA(getMainWndH(), 0x9E3, 0, 0));
    {
        cRecordingHostWindow window;
        EXPECT_EQ(&window, getMainWndH());
        SendMessageA(getMainWndH(), 0x9E3, 0, 0);
        EXPECT_TRUE(PostMessageA(getMainWndH(), 2067, 5, 7));
        std::vector<std::vector<long long>> sent;
        for (auto const& m : window.messages())
            sent.push_back({m.sent, m.message, static_cast<long long>(m.wParam), m.lParam});
        EXPECT_EQ((std::vector<std::vector<long long>>{{1, 0x9E3, 0, 0}, {0, 2067, 5, 7}}), sent);
    }
    EXPECT_EQ(nullptr, getMainWndH());
}
