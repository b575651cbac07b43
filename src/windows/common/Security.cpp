#include "windows/common/Security.h"

#include <sddl.h>

#include "common/share/PmtError.h"
#include "common/windows/WinAutoHandle.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/SysInfo.h"

namespace security {

namespace {

void freeLocal(void* block) noexcept {
    LocalFree(block);
}

/// A block that Windows hands over.
using LocalBlock = AutoHandle<void*, freeLocal>;

WinHandle processToken() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(SysError(_T("OpenProcessToken failed"), OpenProcessToken, status),
                                 "security::`anonymous-namespace'::processToken");
    }
    return WinHandle(token);
}

}  // namespace

Sid::Sid(const tstring& text) {
    PSID found = nullptr;
    if (!ConvertStringSidToSidW(text.c_str(), &found)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(_T("ConvertStringSidToSid failed"), ConvertStringSidToSidW, status),
            "security::Sid::Sid");
    }
    const LocalBlock owner(found);
    if (!CopySid(sizeof(bytes_), bytes_, found)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(SysError(_T("CopySid failed"), CopySid, status),
                                 "security::Sid::Sid");
    }
}

Sid Sid::fromPSID(PSID sid) {
    Sid result;
    if (!CopySid(sizeof(result.bytes_), result.bytes_, sid)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(SysError(_T("CopySid failed"), CopySid, status),
                                 "security::Sid::fromPSID");
    }
    return result;
}

Sid Sid::processOwnerUser() {
    const WinHandle token = processToken();
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    if (size == 0) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(_T("GetTokenInformation (get size) failed"), GetTokenInformation, status),
            "security::Sid::processOwnerUser");
    }
    std::vector<BYTE> buffer(size);
    if (!GetTokenInformation(token.get(), TokenUser, buffer.data(), size, &size)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(_T("GetTokenInformation failed"), GetTokenInformation, status),
            "security::Sid::processOwnerUser");
    }
    return fromPSID(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid);
}

tstring Sid::toString() const {
    LPWSTR text = nullptr;
    if (!ConvertSidToStringSidW(get(), &text)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(_T("ConvertSidToStringSid failed"), ConvertSidToStringSidW, status),
            "security::Sid::toString");
    }
    const LocalBlock owner(text);
    return text;
}

bool isUserAdmin() {
    const auto fail = [](const SourceLocation& where = "security::isUserAdmin") {
        raise(where, FailedCall(GetTokenInformation)
                         << _T("GetTokenInformation(TokenGroup) failed"));
    };
    const WinHandle token = processToken();
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenGroups, nullptr, 0, &size);
    if (size == 0) {
        fail();
    }
    std::vector<BYTE> buffer(size);
    if (!GetTokenInformation(token.get(), TokenGroups, buffer.data(), size, &size)) {
        fail();
    }
    const Sid administrators(_T("BA"));
    const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
    for (DWORD i = 0; i < groups->GroupCount; ++i) {
        if (EqualSid(administrators.get(), groups->Groups[i].Sid)) {
            return true;
        }
    }
    return false;
}

bool isProcessElevated() {
    if (SysInfo::osVersion() <= SysInfo::OsVersion::WindowsXp) {
        return isUserAdmin();  // no elevation before Windows Vista
    }
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(SysError(_T("OpenProcessToken failed"), OpenProcessToken, status),
                                 "security::isProcessElevated");
    }
    const WinHandle token(opened);
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    if (!GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof(elevation), &size)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(_T("GetTokenInformation failed"), GetTokenInformation, status),
            "security::isProcessElevated");
    }
    return elevation.TokenIsElevated != 0;
}

SecurityDescriptor::SecurityDescriptor(const tstring& text) {
    PSECURITY_DESCRIPTOR found = nullptr;
    ULONG size = 0;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &found,
                                                              &size)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(_T("ConvertStringSecurityDescriptorToSecurityDescriptor failed"),
                     ConvertStringSecurityDescriptorToSecurityDescriptorW, status),
            "security::SecurityDescriptor::SecurityDescriptor");
    }
    const LocalBlock owner(found);
    const auto* bytes = static_cast<const BYTE*>(found);
    bytes_.assign(bytes, bytes + size);
}

}  // namespace security
