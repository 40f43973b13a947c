#include "SimCore/cComputationManager.h"

#include "tests/support/cRecordingSinks.h"

#include <gtest/gtest.h>

namespace
{
// The message handling of the manager is not part of these tests.
class cRunControlOnly : public cComputationManager
{
public:
    bool ProcessMessage(unsigned int message, cMessage* data) override
    {
        delete data;
        return message == QUIT_MSG;
    }
};
} // namespace

TEST(cComputationManager, StateChangesAreTracedWithTheirNumbers)
{
    cRecordingTraceSink trace(4);
    cRunControlOnly manager;
    EXPECT_EQ("Test", manager.getName());
    EXPECT_EQ(computationsNotStarted, manager.getComputationsState());
    EXPECT_FALSE(manager.isStopAsked());
    manager.setComputationsState(computationsRunning);
    manager.setComputationsState(computationsCancelled);
    manager.askForStop();
    EXPECT_TRUE(manager.isStopAsked());
    EXPECT_EQ(computationsCancelled, manager.getComputationsState());
    EXPECT_EQ((std::vector<std::string>{"--- setComputationsState (see EComputationsState): from 0 to 1",
                                        "--- setComputationsState (see EComputationsState): from 1 to 4"}),
              trace.texts());
    EXPECT_NE(std::string::npos, trace.lines()[0].find(" [Computations "));
}
