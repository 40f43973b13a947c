#include "BaseKit/cTraceProvider.h"

#include "tests/support/cRecordingSinks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <regex>
#include <thread>

namespace
{
int g_textsBuilt = 0;

std::string countedText(std::string const& text)
{
    ++g_textsBuilt;
    return text;
}
} // namespace

TEST(cTraceProvider, LineIsLevelNameMidPartClockAndText)
{
    cRecordingTraceSink sink(3);
    cTraceProvider vehicle("Vehicle");
    vehicle.logImpl(3, "Vehicle started");
    ASSERT_EQ(1u, sink.lines().size());
    std::string const line = sink.lines()[0];
    // The clock is digits only, between the name and "] ".
    EXPECT_TRUE(std::regex_match(line, std::regex("DEBUG \\[Vehicle [0-9]+\\] Vehicle started"))) << line;
    for (auto const& name : cTraceProvider::g_loggingLevels)
        EXPECT_EQ(5u, std::string(name).size());
}

// A line above the level costs one comparison: its text is never built.
TEST(cTraceProvider, GatedLinesBuildNoText)
{
    cRecordingTraceSink sink(0);
    cTraceProvider provider("Unit");
    g_textsBuilt = 0;
    for (int level = 1; level <= 4; ++level)
    {
        KYN_TRACE(provider, level, countedText("never"));
        KYN_TRACE_GLOBAL(level, countedText("never"));
    }
    EXPECT_EQ(0, g_textsBuilt);
    EXPECT_TRUE(sink.lines().empty());

    cTraceProvider::g_loggingLevel = 2;
    KYN_TRACE(provider, 2, countedText("definition"));
    KYN_TRACE(provider, 3, countedText("change"));
    KYN_TRACE_GLOBAL(1, countedText("failure"));
    EXPECT_EQ(2, g_textsBuilt);
    EXPECT_EQ((std::vector<std::string>{"definition", "failure"}), sink.texts());
    EXPECT_NE(std::string::npos, sink.lines()[1].find(" [SimCore "));
}

TEST(cTraceProvider, ScopeTraceWritesEntryAndExitAtLevelFour)
{
    cRecordingTraceSink sink(4);
    ObjectLogger logger("Vehicle");
    {
        cScopeTrace scope(logger, "cDriftManager::manageDriftsSequence L91");
        logger.logImpl(4, "inside");
    }
    EXPECT_EQ((std::vector<std::string>{">>>> cDriftManager::manageDriftsSequence L91 Vehicle", "inside",
                                        "<<<< cDriftManager::manageDriftsSequence L91 Vehicle"}),
              sink.texts());

    cTraceProvider::g_loggingLevel = 3;
    {
        cScopeTrace quiet(logger, "quiet");
    }
    EXPECT_EQ(3u, sink.lines().size());
}

// Lines from several threads reach the sink one at a time, so that a sink need not lock for itself.
TEST(cTraceProvider, LinesFromThreadsReachTheSinkOneAtATime)
{
    cRecordingTraceSink const restorer(4); // level 4; the previous sink and level come back at the end
    std::atomic<int> inside{0}, overlaps{0}, lines{0};
    cTraceProvider::setSink(
        [&](int, std::string const&)
        {
            overlaps += inside++ != 0;
            std::this_thread::yield(); // widens the window in which a second writer would be seen
            ++lines;
            --inside;
        });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [t]
            {
                cTraceProvider provider("T" + std::to_string(t));
                for (int i = 0; i < 200; ++i)
                    provider.logImpl(4, std::string(50, static_cast<char>('a' + t)));
            });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(0, overlaps.load());
    EXPECT_EQ(800, lines.load());
}
