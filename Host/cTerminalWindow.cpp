#include "Host/cTerminalWindow.h"

#include "SimCore/cComputationManager.h"
#include "SimCore/cKynMultiPreprocessingMgr.h"
#include "SimCore/cProject.h"

#include <cstdio>
#include <string>

namespace
{
// Posted when a computation configuration could not be loaded during a run.
constexpr uint32_t kConfigurationNotLoadedMessage = 2534;
constexpr int kBarWidth = 24;

std::string minutesAndSeconds(double seconds)
{
    long const whole = seconds > 0.0 ? long(seconds + 0.5) : 0;
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}
} // namespace

cTerminalWindow::cTerminalWindow(std::ostream& out, EProgressMode mode,
                                 std::chrono::milliseconds lineInterval, std::function<tTime()> clock)
    : m_out(out), m_mode(mode), m_lineInterval(lineInterval), m_clock(std::move(clock)),
      m_previous(setMainWndH(this)), m_start(m_clock()), m_end(m_start), m_lastLine(m_start)
{
}

cTerminalWindow::~cTerminalWindow()
{
    setMainWndH(m_previous);
}

intptr_t cTerminalWindow::sendMessage(uint32_t message, uintptr_t wParam, intptr_t)
{
    switch (message)
    {
    case kSelectMultiPreprocessingItemMessage:
        switchItem(wParam);
        break;
    case kTestStartedMessage:
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_start = m_lastLine = m_clock();
        m_ended = false;
        break;
    }
    case kFileIterationMessage:
    case kMechanicalIterationMessage:
    case kElectronicIterationMessage:
    case kAcquisitionIterationMessage:
    case kAlgorithmIterationMessage:
        showProgress();
        break;
    case kTestEndedMessage:
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_end = m_clock();
        if (m_barShown)
            m_out << "\n" << std::flush; // the bar's line is finished before anything else is written
        m_barShown = false;
        m_ended = true;
        m_endCondition.notify_all();
        break;
    }
    default:
        break;
    }
    return 0;
}

bool cTerminalWindow::postMessage(uint32_t message, uintptr_t, intptr_t)
{
    if (message == kConfigurationNotLoadedMessage)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_configurationLoadFailed = true;
    }
    return true;
}

void cTerminalWindow::switchItem(uintptr_t index)
{
    cKynMultiPreprocessingMgr* const items =
        myActiveProject != nullptr ? myActiveProject->getMultiPpMgr() : nullptr;
    if (items == nullptr || index == items->getSelectedItemIndex())
        return;
    // The live set-up goes back into its item before another one is loaded into the modules.
    items->SaveToSelectedItem();
    items->selectItemFromIndex(static_cast<unsigned int>(index));
    items->LoadFromSelectedItem(true);
}

void cTerminalWindow::showProgress()
{
    if (m_mode == EProgressMode::eQuiet || myActiveComputationManager == nullptr)
        return;
    sIterationCount const files = myActiveComputationManager->getFileIterationNbr();
    sIterationCount const iterations = myActiveComputationManager->getAlgorithmIterationNbr();
    std::lock_guard<std::mutex> lock(m_mutex);
    tTime const now = m_clock();
    double const seconds = std::chrono::duration<double>(now - m_start).count();
    std::string const text =
        progressText(files.number, files.total, iterations.number, iterations.total, seconds);
    if (m_mode == EProgressMode::eLines)
    {
        if (now - m_lastLine < m_lineInterval)
            return;
        m_lastLine = now;
        m_out << "progress: " << text << "\n" << std::flush;
        return;
    }
    int const done =
        iterations.total == 0 ? 0 : int(uint64_t(iterations.number) * kBarWidth / iterations.total);
    m_out << "\r[" << std::string(std::size_t(done), '#') << std::string(std::size_t(kBarWidth - done), '-')
          << "] " << text << "   " << std::flush;
    m_barShown = true;
}

std::string cTerminalWindow::progressText(uint32_t files, uint32_t totalFiles, uint32_t iterations,
                                          uint32_t totalIterations, double seconds)
{
    std::string text = "files " + std::to_string(files) + "/" + std::to_string(totalFiles) + ", iterations " +
                       std::to_string(iterations) + "/" + std::to_string(totalIterations);
    if (iterations == 0 || seconds <= 0.0)
        return text;
    double const rate = double(iterations) / seconds;
    // One decimal below 10 iterations a second, so that a slow study does not show "0 it/s".
    char rateText[32];
    std::snprintf(rateText, sizeof rateText, rate < 10.0 ? "%.1f" : "%.0f", rate);
    text.append(", ").append(rateText).append(" it/s");
    if (totalIterations >= iterations)
        text.append(", ")
            .append(minutesAndSeconds(double(totalIterations - iterations) / rate))
            .append(" left");
    return text;
}

void cTerminalWindow::waitForEnd()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_endCondition.wait(lock, [this] { return m_ended; });
}

bool cTerminalWindow::hasEnded() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_ended;
}

double cTerminalWindow::elapsedSeconds() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::chrono::duration<double>((m_ended ? m_end : m_clock()) - m_start).count();
}

bool cTerminalWindow::configurationLoadFailed() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_configurationLoadFailed;
}
