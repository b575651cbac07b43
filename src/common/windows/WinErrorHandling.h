// Exceptions for failed Windows calls, and how a status becomes words.
#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>

#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstring.h"

/// "system error <status> (<description>)". The description is Windows' own, without line breaks
/// and closing full stop; `module` is asked first when given.
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
    requires std::is_function_v<Function> SysError(const tstring& text, Function* failingFunction,
                                                   DWORD status)
        : SysError(text, reinterpret_cast<const void*>(failingFunction), status) {}
    SysError(const tstring& text, std::nullptr_t, DWORD status)
        : SysError(text, static_cast<const void*>(nullptr), status) {}
    SysError(const tstring& text, const void* failingFunction, DWORD status);
};

class FailedCall;

/// Throws the SysError of a failed call.
[[noreturn]] void raise(const SourceLocation& where, const FailedCall& call);

/// A failed Win32 call, the text of whose SysError is composed behind it. It takes the last error
/// when it is made, ahead of everything that could change it.
///
///     raise("`anonymous-namespace'::openKey", FailedCall(CreateFileW) << _T("CreateFile failed"));
class FailedCall {
public:
    /// `function` is the Win32 function that failed, or null.
    template <class Function>
    requires std::is_function_v<Function>
    explicit FailedCall(Function* function, DWORD status = GetLastError())
        : function_(reinterpret_cast<const void*>(function)), status_(status) {}
    explicit FailedCall(std::nullptr_t, DWORD status = GetLastError()) : status_(status) {}

    DWORD status() const { return status_; }

    template <class Part>
    FailedCall& operator<<(const Part& part) {
        text_ << part;
        return *this;
    }

private:
    friend void raise(const SourceLocation& where, const FailedCall& call);
    friend void logFailedCall(const SourceLocation& where, const FailedCall& call);

    const void* function_ = nullptr;
    DWORD status_;
    Text text_;
};

/// Logs at ERROR "<call> failed with <describeSystemError>": a failed call that stops nothing.
void logFailedCall(const SourceLocation& where, const FailedCall& call);

/// A failed COM or shell call.
class ComError : public std::runtime_error {
public:
    ComError(const tstring& text, HRESULT status);

    HRESULT status() const noexcept { return status_; }

private:
    HRESULT status_;
};
