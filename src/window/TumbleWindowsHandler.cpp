#include "window/TumbleWindowsHandler.h"

void TumbleWindowsHandler::resize(int width, int height) {
    fView.resize(width, height);
    fSizeChanged = true;
    fRefresh = true;
}

void TumbleWindowsHandler::mouseButton(int button, int event, int x, int y) {
    if (button == kNoButton && event == kMove) {
        fView.drag(x, y);
        fRefresh = fView.isChanged();
        return;
    }
    const bool changes = event == kPress || event == kRelease;
    if (button == kLeftButton && changes) {
        fLeftDown = event == kPress;
    } else if (button == kMiddleButton && changes) {
        fMiddleDown = event == kPress;
    }
    const Mode now = fLeftDown ? (fMiddleDown ? kDolly : kTumble) : (fMiddleDown ? kTrack : kIdle);
    if (now != mode()) {
        fView.begin(now, x, y);
        fSizeChanged = false;
        fRefresh = false;
    }
}
