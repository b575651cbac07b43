#include "simulated/machine/Desktop.h"

#include <windows.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

extern "C" {

int WINAPI MessageBoxW(HWND, LPCWSTR text, LPCWSTR caption, UINT type) {
    Call call("MessageBoxW");
    if (call.fails()) {
        return failWith(call.status(ERROR_INVALID_WINDOW_HANDLE));
    }
    Desktop& desktop = Machine::current().desktop;
    const MessageBox box{std::u16string(argument(text)), std::u16string(argument(caption)), type};
    desktop.messageBoxes.push_back(box);
    if (!desktop.hasDisplay) {
        return 0;
    }
    if (desktop.onMessageBox) {
        desktop.onMessageBox(box);
    }
    return IDOK;
}

LRESULT WINAPI SendMessageTimeoutW(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                   UINT flags, UINT timeout, DWORD_PTR* result) {
    Call call("SendMessageTimeoutW");
    if (call.fails()) {
        return failWith(call.status(ERROR_TIMEOUT));
    }
    Desktop& desktop = Machine::current().desktop;
    const auto* const text =
        message == WM_SETTINGCHANGE ? reinterpret_cast<LPCWSTR>(lParam) : nullptr;
    desktop.broadcasts.push_back(
        {window, message, wParam, std::u16string(argument(text)), flags, timeout});
    if (desktop.hangs) {
        return failWith(ERROR_TIMEOUT);
    }
    if (result != nullptr) {
        *result = 0;
    }
    return TRUE;
}

}  // extern "C"
