// The host application's main window, as the library sees it: a target for numbered
// notifications (message, wParam, lParam), sent synchronously or posted. The host registers
// its window; with none registered nothing is sent and nothing fails.
#pragma once

#include <cstdint>

class IHostWindow
{
public:
    virtual ~IHostWindow() = default;
    // Handled before it returns; the result is the handler's answer.
    virtual intptr_t sendMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) = 0;
    // Queued for the host; false when it could not be queued.
    virtual bool postMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) = 0;
};

// The registered main window, or null.
IHostWindow* getMainWndH();
// Registers the main window (null unregisters it) and returns the previous one. Not owned.
IHostWindow* setMainWndH(IHostWindow* window);

// Send or post to a window that may be null: a null window receives nothing (results 0 and false).
intptr_t SendMessageA(IHostWindow* window, uint32_t message, uintptr_t wParam, intptr_t lParam);
bool PostMessageA(IHostWindow* window, uint32_t message, uintptr_t wParam, intptr_t lParam);
