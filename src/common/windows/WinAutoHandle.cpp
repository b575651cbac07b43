#include "common/windows/WinAutoHandle.h"

#include "common/share/LogException.h"
#include "common/windows/WinErrorHandling.h"

namespace {

/// Logs a failed close and never throws: closers are called by destructors.
void logFailedClose(const SourceLocation& where, const char* call, const void* handle,
                    DWORD status) noexcept {
    runLogged(where, [&] {
        logFailedCall(where, FailedCall(nullptr, status) << call << _T("(") << handle << _T(")"));
    });
}

}  // namespace

void closeHANDLE(HANDLE handle) noexcept {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        return;
    }
    if (!CloseHandle(handle)) {
        logFailedClose("closeHANDLE", "CloseHandle", handle, GetLastError());
    }
}

void closeRegHandle(HKEY key) noexcept {
    if (key == nullptr) {
        return;
    }
    const LSTATUS status = RegCloseKey(key);
    if (status != ERROR_SUCCESS) {
        logFailedClose("closeRegHandle", "RegCloseKey", key, static_cast<DWORD>(status));
    }
}

void closeFind(HANDLE find) noexcept {
    FindClose(find);
}

void freeLocal(void* block) noexcept {
    LocalFree(block);
}

void freeLibrary(HMODULE module) noexcept {
    FreeLibrary(module);
}
