#include "common/windows/WinAutoHandle.h"

#include "common/share/Logger.h"
#include "common/share/tstrings.h"
#include "common/windows/WinErrorHandling.h"

namespace {

/// Handles are closed by destructors, which let nothing out: not even a record that can't be
/// written.
void logFailedClose(const char* function, const TCHAR* call, const void* handle,
                    DWORD status) noexcept {
    try {
        const Text closing = Text() << call << _T("(") << handle << _T(")");
        LOG_ERROR(function, tstrings::unsafe_format(_T("%s failed with %s"), closing.str().c_str(),
                                                    describeSystemError(status, nullptr).c_str()));
    } catch (...) {
    }
}

}  // namespace

void closeHANDLE(HANDLE handle) noexcept {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        return;
    }
    if (!CloseHandle(handle)) {
        logFailedClose("closeHANDLE", _T("CloseHandle"), handle, GetLastError());
    }
}

void closeRegHandle(HKEY key) noexcept {
    if (key == nullptr) {
        return;
    }
    const LSTATUS status = RegCloseKey(key);
    if (status != ERROR_SUCCESS) {
        logFailedClose("closeRegHandle", _T("RegCloseKey"), key, static_cast<DWORD>(status));
    }
}
