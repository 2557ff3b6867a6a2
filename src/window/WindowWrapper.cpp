#include "window/WindowWrapper.h"

#include <utility>
#include <windows.h>

WindowWrapper::WindowWrapper(HWND window, HDC dc) : fWindow(window), fContext(window ? GetDC(window) : dc) {}

WindowWrapper::WindowWrapper(const WindowWrapper& other) : WindowWrapper(other.fWindow, other.fContext) {}

WindowWrapper& WindowWrapper::operator=(const WindowWrapper& other) {
    WindowWrapper copy(other);
    std::swap(fWindow, copy.fWindow);
    std::swap(fContext, copy.fContext);
    return *this;
}

WindowWrapper::~WindowWrapper() {
    release();
}

void WindowWrapper::release() {
    if (fWindow) {
        ReleaseDC(fWindow, fContext);
    }
    fWindow = nullptr;
    fContext = nullptr;
}
