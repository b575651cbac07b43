#include <windows.h>
#include <sddl.h>
#include <tchar.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "Inspection.h"

namespace {

/// The text of an identifier.
tstring textOf(PSID sid) {
    LPWSTR text = nullptr;
    EXPECT_TRUE(ConvertSidToStringSidW(sid, &text));
    const tstring result = text;
    LocalFree(text);
    return result;
}

TEST(SecurityTest, IdentifiersGoToTextAndBack) {
    const struct {
        const TCHAR* given;
        const TCHAR* text;
        DWORD length;
    } kCases[] = {
        {_T("BA"), _T("S-1-5-32-544"), 16},
        {_T("SY"), _T("S-1-5-18"), 12},
        {_T("S-1-5-21-1-2-4294967295-1001"), _T("S-1-5-21-1-2-4294967295-1001"), 28},
    };
    for (const auto& one : kCases) {
        PSID sid = nullptr;
        ASSERT_TRUE(ConvertStringSidToSidW(one.given, &sid));
        EXPECT_EQ(textOf(sid), one.text);
        BYTE copy[SECURITY_MAX_SID_SIZE] = {};
        EXPECT_TRUE(CopySid(one.length, copy, sid));
        EXPECT_TRUE(EqualSid(copy, sid));
        copy[one.length - 1] ^= 1;
        EXPECT_FALSE(EqualSid(copy, sid));
        EXPECT_FALSE(CopySid(one.length - 1, copy, sid));
        EXPECT_EQ(LocalFree(sid), nullptr);
    }
    for (const TCHAR* const text :
         {_T(""), _T("nobody"), _T("S"), _T("S-1"), _T("S-2-5-18"), _T("S-1-5-18x"), _T("ZZ")}) {
        PSID sid = nullptr;
        EXPECT_FALSE(ConvertStringSidToSidW(text, &sid)) << testing::PrintToString(tstring(text));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_SID});
    }
}

TEST(SecurityTest, DescriptorsAreBuiltFromTheirText) {
    struct Entry {
        BYTE flags;
        DWORD mask;
        const TCHAR* sid;
    };
    const std::vector<Entry> entries = {{0, 0x1F01FF, _T("S-1-5-18")},
                                        {3, 0x120089, _T("S-1-5-32-544")},
                                        {3, 0x1200A9, _T("S-1-1-0")}};
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
        _T("D:(A;;FA;;;SY)(A;OICI;FR;;;BA)(A;OICI;FRFX;;;WD)"), SDDL_REVISION_1, &descriptor,
        nullptr));
    const auto* const bytes = static_cast<const BYTE*>(descriptor);
    WORD control = 0;
    DWORD offset = 0;
    std::memcpy(&control, bytes + 2, sizeof(control));
    std::memcpy(&offset, bytes + 16, sizeof(offset));
    EXPECT_EQ(control, SE_SELF_RELATIVE | SE_DACL_PRESENT);
    ACL list = {};
    std::memcpy(&list, bytes + offset, sizeof(list));
    ASSERT_EQ(list.AceCount, entries.size());
    const BYTE* at = bytes + offset + sizeof(list);
    for (const Entry& entry : entries) {
        ACCESS_ALLOWED_ACE ace = {};
        std::memcpy(&ace, at, sizeof(ace));
        EXPECT_EQ(ace.Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
        EXPECT_EQ(ace.Header.AceFlags, entry.flags);
        EXPECT_EQ(ace.Mask, entry.mask);
        EXPECT_EQ(textOf(const_cast<BYTE*>(at) + 8), entry.sid);
        at += ace.Header.AceSize;
    }
    EXPECT_EQ(at, bytes + offset + list.AclSize);
    LocalFree(descriptor);
}

TEST(SecurityTest, ATokenTellsItsUserAndGroups) {
    HANDLE token = nullptr;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
    for (const TOKEN_INFORMATION_CLASS wanted : {TokenUser, TokenGroups}) {
        DWORD size = 0;
        EXPECT_FALSE(GetTokenInformation(token, wanted, nullptr, 0, &size));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
        std::vector<BYTE> buffer(size);
        DWORD needed = 0;
        EXPECT_FALSE(GetTokenInformation(token, wanted, buffer.data(), size - 1, &needed));
        ASSERT_TRUE(GetTokenInformation(token, wanted, buffer.data(), size, &needed));
        const auto* const user = reinterpret_cast<const TOKEN_USER*>(buffer.data());
        const auto* const groups = reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
        const PSID sid = wanted == TokenUser ? user->User.Sid : groups->Groups[0].Sid;
        EXPECT_EQ(textOf(sid).substr(0, 4), _T("S-1-"));
    }
    TOKEN_ELEVATION elevation = {};
    DWORD needed = 0;
    EXPECT_TRUE(GetTokenInformation(token, TokenElevation, &elevation, sizeof(elevation), &needed));
    EXPECT_EQ(needed, 4u);
    EXPECT_TRUE(CloseHandle(token));
    EXPECT_FALSE(CloseHandle(token));
    EXPECT_FALSE(GetTokenInformation(token, TokenElevation, &elevation, 4, &needed));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(OpenProcessToken(nullptr, TOKEN_QUERY, &token));
}

}  // namespace
