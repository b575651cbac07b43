#include "common/windows/WinErrorHandling.h"

#include <oleauto.h>

#include <cctype>
#include <string_view>

#include "common/share/Logger.h"
#include "common/share/ProcessPaths.h"
#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"

namespace {

constexpr DWORD kWin32FacilityMask = 0x1FFF0000;
constexpr DWORD kWin32Facility = 0x00070000;

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string_view trimmedEnd(std::string_view text) {
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::string_view trimmed(std::string_view text) {
    text = trimmedEnd(text);
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

/// Returns Windows' description of a status: from the module's messages, otherwise from the
/// system's.
tstring findDescription(DWORD status, HMODULE module) {
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    LPWSTR buffer = nullptr;
    DWORD length = 0;
    if (module != nullptr) {
        length = FormatMessageW(kFlags | FORMAT_MESSAGE_FROM_HMODULE, module, status, 0,
                                reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    }
    if (length == 0) {
        length = FormatMessageW(kFlags, nullptr, status, 0, reinterpret_cast<LPWSTR>(&buffer), 0,
                                nullptr);
    }
    if (length == 0) {
        return _T("No description available");
    }
    const LocalBlock owner(buffer);
    tstring description(buffer, length);
    for (TCHAR& c : description) {
        if (c < 32) {
            c = _T(' ');
        }
    }
    const auto isDropped = [](TCHAR c) { return c <= 32 || c == 127 || c == _T('.'); };
    while (!description.empty() && isDropped(description.back())) {
        description.pop_back();
    }
    return description;
}

/// Returns "<word> [<status>](<description>)", which follows the exception's message. The
/// description is left out when the module of the failed function is unknown.
tstring composeDetail(const void* failingFunction, DWORD status,
                      const TCHAR* word = _T("Some error")) {
    Text detail;
    detail << word << _T(" [") << status << _T("]");
    const HMODULE module = failingFunction != nullptr ? moduleOf(failingFunction) : nullptr;
    if (failingFunction != nullptr && module == nullptr) {
        LOG_WARNING(
            "`anonymous-namespace'::composeDetail",
            Text() << _T("GetModuleHandleEx() failed for ") << failingFunction << _T(" address."));
        return detail;
    }
    return detail << _T("(") << describeSystemError(status, module) << _T(")");
}

std::string composeSysError(const tstring& text, const void* failingFunction, DWORD status) {
    return joinErrorMessage(
        tstrings::toUtf8(text),
        tstrings::toUtf8(composeDetail(failingFunction, status, _T("System error"))));
}

void releaseErrorInfo(IErrorInfo* info) noexcept {
    info->Release();
}

void freeString(BSTR text) noexcept {
    SysFreeString(text);
}

/// Returns the description in the thread's error object, which the failed call may have set, or an
/// empty string.
tstring comErrorDescription() {
    IErrorInfo* found = nullptr;
    if (GetErrorInfo(0, &found) != S_OK || found == nullptr) {
        return tstring();
    }
    const AutoHandle<IErrorInfo*, releaseErrorInfo> info(found);
    BSTR text = nullptr;
    if (FAILED(info.get()->GetDescription(&text)) || text == nullptr) {
        return tstring();
    }
    const AutoHandle<BSTR, freeString> owner(text);
    return tstring(text, SysStringLen(text));
}

std::string composeComError(const tstring& text, HRESULT status) {
    Text result;
    result << text << _T(": ") << describeComError(status);
    const tstring description = comErrorDescription();
    if (!description.empty()) {
        result << _T(" - ") << description;
    }
    return tstrings::toUtf8(result);
}

}  // namespace

tstring describeSystemError(DWORD status, HMODULE module) {
    return Text() << _T("system error ") << status << _T(" (") << findDescription(status, module)
                  << _T(")");
}

tstring describeComError(HRESULT status) {
    const auto value = static_cast<DWORD>(status);
    const bool wrapsWin32 = (value & kWin32FacilityMask) == kWin32Facility;
    const DWORD described = wrapsWin32 ? value & 0xFFFF : value;
    return Text() << _T("COM error 0x") << Hex{value, 8, true} << _T(" (")
                  << findDescription(described, nullptr) << _T(")");
}

std::string joinErrorMessage(const std::string& text, const std::string& detail) {
    const std::string_view head = trimmedEnd(text);
    const std::string_view tail = trimmed(detail);
    if (head.empty()) {
        return std::string(tail);
    }
    std::string result(head);
    if (!tail.empty()) {
        const bool ended = std::string_view(";.,:!?").find(head.back()) != std::string_view::npos;
        result.append(ended ? " " : ". ").append(tail);
    }
    return result;
}

SysError::SysError(const tstring& text, const void* failingFunction, DWORD status)
    : std::runtime_error(composeSysError(text, failingFunction, status)) {}

void raise(const SourceLocation& where, const FailedCall& call) {
    raise<SysError>(where, call.text_.str(), call.function_, call.status_);
}

void logFailedCall(const SourceLocation& where, const FailedCall& call) {
    LOG_ERROR(where, Text() << call.text_ << _T(" failed with ")
                            << describeSystemError(call.status_, nullptr));
}

ComError::ComError(const tstring& text, HRESULT status)
    : std::runtime_error(composeComError(text, status)), status_(status) {}
