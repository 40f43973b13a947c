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

    auto entries = sink.entries();
    ASSERT_EQ(7u, entries.size());
    EXPECT_EQ("exception", entries[0].kind);
    EXPECT_EQ("It failed", entries[0].text);
    EXPECT_EQ("cGenericException", entries[0].title);
    EXPECT_EQ("warning", entries[2].kind);
    EXPECT_EQ("scroll", entries[4].kind);
    EXPECT_EQ("Report", entries[4].title);
    EXPECT_EQ("7", entries[5].title);
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
        auto messages = window.messages();
        ASSERT_EQ(2u, messages.size());
        EXPECT_TRUE(messages[0].sent);
        EXPECT_EQ(0x9E3u, messages[0].message);
        EXPECT_FALSE(messages[1].sent);
        EXPECT_EQ(5u, messages[1].wParam);
        EXPECT_EQ(7, messages[1].lParam);
    }
    EXPECT_EQ(nullptr, getMainWndH());
}
