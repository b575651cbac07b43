#include "windows/common/Security.h"

#include "common/share/Text.h"
#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"

namespace {

using security::Sid;
using SecurityTest = OnMachine;

constexpr const char* kDenied = "System error [5](system error 5 (Access is denied))";

TEST_F(SecurityTest, IdentifierKeepsItsText) {
    const struct {
        const TCHAR* text;
        const TCHAR* sid;
    } rows[] = {
        {_T("S-1-5-18"), _T("S-1-5-18")},
        {_T("BA"), _T("S-1-5-32-544")},
        {_T("S-1-5-21-1-2-3-4-5-6-7-8-9-10-11-12-13-4294967295"),
         _T("S-1-5-21-1-2-3-4-5-6-7-8-9-10-11-12-13-4294967295")},
    };
    for (const auto& row : rows) {
        const Sid sid{tstring(row.text)};
        EXPECT_EQ(sid.toString(), row.sid);
        EXPECT_EQ(Sid::fromPSID(Sid(sid).get()).toString(), row.sid);
    }
    EXPECT_EQ(thrownBy<SysError>([] { Sid(_T("nobody")); }),
              "Security.cpp at security::Sid::Sid(): ConvertStringSidToSid failed. "
              "System error [1337](system error 1337 "
              "(The structure of the security identifier is invalid))");
}

TEST_F(SecurityTest, ProcessIsWhoItIs) {
    const struct {
        void (*arrange)(simulated::Security&);
        const TCHAR* user;  // null: not looked at
        bool isAdmin;
        bool isElevated;
    } rows[] = {
        {[](simulated::Security&) {}, nullptr, true, true},
        {[](simulated::Security& s) { s.becomeLocalSystem(); }, _T("S-1-5-18"), true, true},
        {[](simulated::Security& s) { s.becomeFilteredAdministrator(); }, nullptr, true, false},
        {[](simulated::Security& s) { s.becomeOrdinaryUser(); }, nullptr, false, false},
        {[](simulated::Security& s) { s.groups.clear(); }, nullptr, false, true},
    };
    for (const auto& row : rows) {
        machine.security = {};
        row.arrange(machine.security);
        EXPECT_EQ(Sid::processOwnerUser().toString(),
                  row.user != nullptr ? row.user : machine.security.user);
        EXPECT_EQ(security::isUserAdmin(), row.isAdmin);
        EXPECT_EQ(security::isProcessElevated(), row.isElevated);
    }
}

TEST_F(SecurityTest, FailuresNameTheCallAndLeaveNothingOpen) {
    const auto owner = [] { Sid::processOwnerUser(); };
    const auto admin = [] { security::isUserAdmin(); };
    const auto elevated = [] { security::isProcessElevated(); };
    const auto text = [] { Sid(_T("BA")).toString(); };
    const auto copy = [] { Sid::fromPSID(Sid(_T("BA")).get()); };
    const auto descriptor = [] { security::SecurityDescriptor(_T("D:(A;;FA;;;SY)")); };
    const struct {
        std::function<void()> action;
        const char* function;
        std::uint64_t n;
        const char* message;
    } rows[] = {
        {owner, "OpenProcessToken", 1,
         "security::`anonymous-namespace'::processToken(): OpenProcessToken failed"},
        {owner, "GetTokenInformation", 1,
         "security::Sid::processOwnerUser(): GetTokenInformation (get size) failed"},
        {owner, "GetTokenInformation", 2,
         "security::Sid::processOwnerUser(): GetTokenInformation failed"},
        {owner, "CopySid", 1, "security::Sid::fromPSID(): CopySid failed"},
        {admin, "OpenProcessToken", 1,
         "security::`anonymous-namespace'::processToken(): OpenProcessToken failed"},
        {admin, "GetTokenInformation", 1,
         "security::isUserAdmin(): GetTokenInformation(TokenGroup) failed"},
        {admin, "GetTokenInformation", 2,
         "security::isUserAdmin(): GetTokenInformation(TokenGroup) failed"},
        {admin, "CopySid", 1, "security::Sid::Sid(): CopySid failed"},
        {elevated, "OpenProcessToken", 1, "security::isProcessElevated(): OpenProcessToken failed"},
        {elevated, "GetTokenInformation", 1,
         "security::isProcessElevated(): GetTokenInformation failed"},
        {text, "ConvertStringSidToSidW", 1, "security::Sid::Sid(): ConvertStringSidToSid failed"},
        {text, "ConvertSidToStringSidW", 1,
         "security::Sid::toString(): ConvertSidToStringSid failed"},
        {copy, "CopySid", 2, "security::Sid::fromPSID(): CopySid failed"},
        {descriptor, "ConvertStringSecurityDescriptorToSecurityDescriptorW", 1,
         "security::SecurityDescriptor::SecurityDescriptor(): "
         "ConvertStringSecurityDescriptorToSecurityDescriptor failed"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.function);
        machine.calls.failCall(row.function, row.n, ERROR_ACCESS_DENIED);
        EXPECT_EQ(thrownBy<SysError>(row.action),
                  std::string("Security.cpp at ") + row.message + ". " + kDenied);
        EXPECT_TRUE(machine.handles.open().empty());
    }
}

}  // namespace
