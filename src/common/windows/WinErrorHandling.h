// Exceptions for failed Windows calls, and how a status becomes words.
#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>

#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstring.h"

/// "system error <status> (<description>)". The description is Windows' own, without line breaks and
/// closing full stop; `module` is asked first when given.
tstring describeSystemError(DWORD status, HMODULE module);

/// "COM error 0x<8 digits> (<description>)".
tstring describeComError(HRESULT status);

/// The two texts as one sentence: "Access failed" and "System error [5]" give
/// "Access failed. System error [5]".
std::string joinErrorMessage(const std::string& text, const std::string& detail);

/// A failed Win32 call with a GetLastError status. `what()` is the text, the status and its words.
class SysError : public std::runtime_error {
public:
    /// `failingFunction` is the Win32 function that failed, by which its module's messages are
    /// found, or null.
    template <class Function>
        requires std::is_function_v<Function>
    SysError(const tstring& text, Function* failingFunction, DWORD status)
        : SysError(text, reinterpret_cast<const void*>(failingFunction), status) {}
    SysError(const tstring& text, std::nullptr_t, DWORD status)
        : SysError(text, static_cast<const void*>(nullptr), status) {}
    SysError(const tstring& text, const void* failingFunction, DWORD status);
};

/// A failed COM or shell call.
class ComError : public std::runtime_error {
public:
    ComError(const tstring& text, HRESULT status);

    HRESULT status() const noexcept { return status_; }

private:
    HRESULT status_;
};
