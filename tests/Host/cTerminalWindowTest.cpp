#include "Host/cTerminalWindow.h"

#include "tests/support/cIdleComputationManager.h"
#include "tests/support/cSimCoreFixture.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace
{
// The counters' totals are set by a test start; here by hand.
class cCountingManager : public cIdleComputationManager
{
public:
    using cComputationManager::setIterationTotals;
};

class cTerminalWindowTest : public cSimCoreFixture
{
protected:
    cTerminalWindowTest() { myActiveComputationManager = &computations; }
    ~cTerminalWindowTest() override { myActiveComputationManager = nullptr; }

    // The window's clock, moved by hand.
    cTerminalWindow::tTime now{};
    std::ostringstream out;
    cCountingManager computations;
};
} // namespace

TEST(cTerminalWindow, ProgressTextGivesRateAndTimeLeftOnceIterationsRan)
{
    EXPECT_EQ("files 0/9, iterations 0/243", cTerminalWindow::progressText(0, 9, 0, 243, 0.0));
    EXPECT_EQ("files 3/9, iterations 81/243, 27 it/s, 0:06 left",
              cTerminalWindow::progressText(3, 9, 81, 243, 3.0));
    EXPECT_EQ("files 9/9, iterations 243/243, 2.0 it/s, 0:00 left",
              cTerminalWindow::progressText(9, 9, 243, 243, 121.5));
    EXPECT_EQ("files 1/9, iterations 10/7200, 1.0 it/s, 119:50 left",
              cTerminalWindow::progressText(1, 9, 10, 7200, 10.0));
}

// A log gets a plain line at most every interval, counted from the start of the run; the run's end
// wakes the waiting command and fixes the elapsed time.
TEST_F(cTerminalWindowTest, PlainLinesComeEveryIntervalAndTheEndWakesTheCommand)
{
    cTerminalWindow window(out, EProgressMode::eLines, std::chrono::seconds(5), [this] { return now; });
    EXPECT_EQ(&window, getMainWndH());
    window.sendMessage(2529, 0, 0);
    computations.setIterationTotals(9, 0, 0, 0, 243);
    for (int second : {1, 4, 5, 6, 11})
    {
        now = cTerminalWindow::tTime(std::chrono::seconds(second));
        computations.incrementAlgorithmIterationNbr();
        window.sendMessage(kAlgorithmIterationMessage, 0, 0);
    }
    EXPECT_EQ("progress: files 0/9, iterations 3/243, 0.6 it/s, 6:40 left\n"
              "progress: files 0/9, iterations 5/243, 0.5 it/s, 8:44 left\n",
              out.str());
    EXPECT_FALSE(window.hasEnded());
    std::thread command([&] { window.waitForEnd(); });
    now = cTerminalWindow::tTime(std::chrono::seconds(20));
    window.sendMessage(kTestEndedMessage, 0, 0);
    command.join();
    EXPECT_TRUE(window.hasEnded());
    EXPECT_EQ(20.0, window.elapsedSeconds());
    EXPECT_FALSE(window.configurationLoadFailed());
    window.postMessage(2534, 0, 0);
    EXPECT_TRUE(window.configurationLoadFailed());
}

// On a terminal the bar is redrawn in place and its line closed at the end; quiet shows nothing.
TEST_F(cTerminalWindowTest, TheBarIsRedrawnInPlaceAndQuietShowsNothing)
{
    {
        cTerminalWindow window(out, EProgressMode::eBar, std::chrono::seconds(5), [this] { return now; });
        window.sendMessage(2529, 0, 0);
        computations.setIterationTotals(2, 0, 0, 0, 4);
        computations.incrementAlgorithmIterationNbr();
        now = cTerminalWindow::tTime(std::chrono::seconds(1));
        window.sendMessage(kAlgorithmIterationMessage, 0, 0);
        window.sendMessage(kTestEndedMessage, 0, 0);
    }
    EXPECT_EQ("\r[######------------------] files 0/2, iterations 1/4, 1.0 it/s, 0:03 left   \n", out.str());
    out.str("");
    cTerminalWindow quiet(out, EProgressMode::eQuiet);
    quiet.sendMessage(kAlgorithmIterationMessage, 0, 0);
    quiet.sendMessage(kTestEndedMessage, 0, 0);
    EXPECT_EQ("", out.str());
}
