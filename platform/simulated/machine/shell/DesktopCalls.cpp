#include "simulated/machine/shell/Desktop.h"

#include <windows.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

extern "C" {

int WINAPI MessageBoxW(HWND, LPCWSTR text, LPCWSTR caption, UINT type) {
    return call("MessageBoxW", ERROR_INVALID_WINDOW_HANDLE, [&] {
        Desktop& desktop = Machine::current().desktop;
        desktop.messageBoxes.push_back(
            {std::u16string(argument(text)), std::u16string(argument(caption)), type});
        return desktop.hasDisplay ? IDOK : 0;
    });
}

LRESULT WINAPI SendMessageTimeoutW(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                   UINT flags, UINT timeout, DWORD_PTR* result) {
    return call("SendMessageTimeoutW", ERROR_TIMEOUT, LRESULT{0}, [&] {
        if (message != WM_SETTINGCHANGE) {
            notSupported("SendMessageTimeoutW", "the message " + std::to_string(message));
        }
        Desktop& desktop = Machine::current().desktop;
        const std::u16string_view text = argument(reinterpret_cast<LPCWSTR>(lParam));
        desktop.broadcasts.push_back(
            {window, message, wParam, std::u16string(text), flags, timeout});
        demand(!desktop.hangs, ERROR_TIMEOUT);
        if (result != nullptr) {
            *result = 0;
        }
        return LRESULT{TRUE};
    });
}

}  // extern "C"
