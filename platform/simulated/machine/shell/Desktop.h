// The desktop of the machine: message boxes and broadcasts, recorded.
#pragma once

#include <windef.h>

#include <string>
#include <vector>

namespace simulated {

/// One call of MessageBoxW.
struct MessageBox {
    std::u16string text;
    std::u16string caption;
    UINT type;
};

/// One call of SendMessageTimeoutW.
struct Broadcast {
    HWND window;
    UINT message;
    WPARAM wParam;
    std::u16string text;  ///< what lParam points to, of a WM_SETTINGCHANGE
    UINT flags;
    UINT timeout;
};

struct Desktop {
    /// Without a display no box is shown: MessageBoxW returns 0 at once.
    bool hasDisplay = true;
    /// A window hangs: SendMessageTimeoutW fails with ERROR_TIMEOUT.
    bool hangs = false;

    /// What was asked for, also without a display.
    std::vector<MessageBox> messageBoxes;
    /// What was sent, also to windows that hang.
    std::vector<Broadcast> broadcasts;
};

}  // namespace simulated
