#include "windows/common/Security.h"

#include <sddl.h>

#include "common/share/PmtError.h"
#include "common/windows/WinAutoHandle.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/SysInfo.h"

namespace security {

namespace {

WinHandle openToken(const SourceLocation& where) {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        raise(where, FailedCall(OpenProcessToken) << _T("OpenProcessToken failed"));
    }
    return WinHandle(token);
}

WinHandle processToken() {
    return openToken("security::`anonymous-namespace'::processToken");
}

}  // namespace

Sid::Sid(const tstring& text) {
    PSID found = nullptr;
    if (!ConvertStringSidToSidW(text.c_str(), &found)) {
        raise("security::Sid::Sid", FailedCall(ConvertStringSidToSidW)
                                        << _T("ConvertStringSidToSid failed"));
    }
    const LocalBlock owner(found);
    copyFrom(found, "security::Sid::Sid");
}

Sid Sid::fromPSID(PSID sid) {
    Sid result;
    result.copyFrom(sid, "security::Sid::fromPSID");
    return result;
}

void Sid::copyFrom(PSID sid, const SourceLocation& where) {
    if (!CopySid(sizeof(bytes_), bytes_, sid)) {
        raise(where, FailedCall(CopySid) << _T("CopySid failed"));
    }
}

Sid Sid::processOwnerUser() {
    constexpr const char* kFunction = "security::Sid::processOwnerUser";
    const WinHandle token = processToken();
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    if (size == 0) {
        raise(kFunction, FailedCall(GetTokenInformation)
                             << _T("GetTokenInformation (get size) failed"));
    }
    std::vector<BYTE> buffer(size);
    if (!GetTokenInformation(token.get(), TokenUser, buffer.data(), size, &size)) {
        raise(kFunction, FailedCall(GetTokenInformation) << _T("GetTokenInformation failed"));
    }
    return fromPSID(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid);
}

tstring Sid::toString() const {
    LPWSTR text = nullptr;
    if (!ConvertSidToStringSidW(get(), &text)) {
        raise("security::Sid::toString", FailedCall(ConvertSidToStringSidW)
                                             << _T("ConvertSidToStringSid failed"));
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
    const WinHandle token = openToken("security::isProcessElevated");
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    if (!GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof(elevation), &size)) {
        raise("security::isProcessElevated", FailedCall(GetTokenInformation)
                                                 << _T("GetTokenInformation failed"));
    }
    return elevation.TokenIsElevated != 0;
}

SecurityDescriptor::SecurityDescriptor(const tstring& text) {
    PSECURITY_DESCRIPTOR found = nullptr;
    ULONG size = 0;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &found,
                                                              &size)) {
        raise("security::SecurityDescriptor::SecurityDescriptor",
              FailedCall(ConvertStringSecurityDescriptorToSecurityDescriptorW)
                  << _T("ConvertStringSecurityDescriptorToSecurityDescriptor failed"));
    }
    const LocalBlock owner(found);
    const auto* bytes = static_cast<const BYTE*>(found);
    bytes_.assign(bytes, bytes + size);
}

}  // namespace security
