// cTerminalWindow: the reference host's main window when it runs in a terminal. It switches the active
// multi-preprocessing item when a run asks for it (2067), shows the progress of a run on a stream
// (stderr for the command) from the progress counters (2524 to 2528), and tells the command when the
// run is over (2530). Progress is a bar redrawn in place on a terminal, a plain line every few seconds
// otherwise (a log), or nothing when quiet.
#pragma once

#include "BaseKit/IHostWindow.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <ostream>

enum class EProgressMode
{
    eBar,
    eLines,
    eQuiet
};

class cTerminalWindow : public IHostWindow
{
public:
    typedef std::chrono::steady_clock::time_point tTime;

    // Registers itself as the main window while it lives. `lineInterval` is the time between two plain
    // lines; `clock` gives the current time (tests pass their own).
    cTerminalWindow(
        std::ostream& out, EProgressMode mode,
        std::chrono::milliseconds lineInterval = std::chrono::seconds(5),
        std::function<tTime()> clock = [] { return std::chrono::steady_clock::now(); });
    cTerminalWindow(cTerminalWindow const&) = delete;
    cTerminalWindow& operator=(cTerminalWindow const&) = delete;
    ~cTerminalWindow() override;

    intptr_t sendMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) override;
    bool postMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

    // Blocks until the run has ended (2530). The run is then over in simulation mode; with real
    // threads the caller still waits until the stages' queues are empty (waitUntilPipelineIdle).
    void waitForEnd();
    bool hasEnded() const;
    // Seconds from the start of the run (2529) to its end (2530), or to now while it runs.
    double elapsedSeconds() const;
    // A computation configuration that could not be loaded during a run (2534 was posted).
    bool configurationLoadFailed() const;

    // The progress text of files f / F and iterations i / I after `seconds`: "files 3/9, iterations
    // 81/243, 412 it/s, 0:02 left" (no rate nor time left before the first iteration).
    static std::string progressText(uint32_t files, uint32_t totalFiles, uint32_t iterations,
                                    uint32_t totalIterations, double seconds);

private:
    void showProgress();
    // The selected item becomes `index` when it is not already (the handler of 2067).
    void switchItem(uintptr_t index);

    std::ostream& m_out;
    EProgressMode m_mode;
    std::chrono::milliseconds m_lineInterval;
    std::function<tTime()> m_clock;
    IHostWindow* m_previous;
    mutable std::mutex m_mutex;
    std::condition_variable m_endCondition;
    bool m_ended = false;
    bool m_barShown = false;
    bool m_configurationLoadFailed = false;
    tTime m_start;
    tTime m_end;
    tTime m_lastLine;
};
