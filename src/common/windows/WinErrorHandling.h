// Exceptions for failed Windows calls, and descriptions of statuses.
#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>

#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstring.h"

/// Returns "system error <status> (<description>)". The description is Windows' own, without line
/// breaks and trailing full stop; if `module` is not null its messages are searched first.
tstring describeSystemError(DWORD status, HMODULE module);

/// Returns "COM error 0x<8 digits> (<description>)".
tstring describeComError(HRESULT status);

/// Joins two strings to one message: "Access failed" and "System error [5]" become "Access failed.
/// System error [5]".
std::string joinErrorMessage(const std::string& text, const std::string& detail);

/// A failed Win32 call with its GetLastError status. `what()` has the message, the status and its
/// description.
class SysError : public std::runtime_error {
public:
    /// `failingFunction` is the Win32 function that failed, whose module's messages are searched,
    /// or null.
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

/// A failed Win32 call whose message is composed by `<<`. The constructor saves the last error
/// before anything can change it.
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

/// Logs "<call> failed with <describeSystemError>" at ERROR, for a failure that stops nothing.
void logFailedCall(const SourceLocation& where, const FailedCall& call);

/// A failed COM or shell call.
class ComError : public std::runtime_error {
public:
    ComError(const tstring& text, HRESULT status);

    HRESULT status() const noexcept { return status_; }

private:
    HRESULT status_;
};
