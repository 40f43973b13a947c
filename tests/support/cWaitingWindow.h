// A host window that records the message numbers and lets a test wait for the end of a test (2530);
// it is the main window while it lives.
#pragma once

#include "BaseKit/IHostWindow.h"
#include "tests/support/cTestHelpers.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

class cWaitingWindow : public IHostWindow
{
public:
    cWaitingWindow() : m_previous(setMainWndH(this)) {}
    ~cWaitingWindow() override { setMainWndH(m_previous); }
    intptr_t sendMessage(uint32_t message, uintptr_t, intptr_t) override
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_messages.push_back(message);
        }
        if (onMessage)
            onMessage(message);
        if (message == kTestEndedMessage)
            ended.notify();
        return 0;
    }
    bool postMessage(uint32_t message, uintptr_t, intptr_t) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_posted.push_back(message);
        return true;
    }
    std::vector<uint32_t> messages() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_messages;
    }
    std::vector<uint32_t> posted() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_posted;
    }
    cEventCounter ended;
    // Runs on the manager's thread for each message, before the end is notified.
    std::function<void(uint32_t)> onMessage;

private:
    IHostWindow* m_previous;
    mutable std::mutex m_mutex;
    std::vector<uint32_t> m_messages;
    std::vector<uint32_t> m_posted;
};
