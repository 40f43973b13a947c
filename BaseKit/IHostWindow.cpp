#include "BaseKit/IHostWindow.h"

#include <atomic>

namespace
{
std::atomic<IHostWindow*> g_mainWindow{nullptr};
}

IHostWindow* getMainWndH()
{
    return g_mainWindow.load();
}

IHostWindow* setMainWndH(IHostWindow* window)
{
    return g_mainWindow.exchange(window);
}

intptr_t SendMessageA(IHostWindow* window, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    return window ? window->sendMessage(message, wParam, lParam) : 0;
}

bool PostMessageA(IHostWindow* window, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    return window ? window->postMessage(message, wParam, lParam) : false;
}
