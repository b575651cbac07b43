// The simulated installer, where Windows itself can't be asked: deferred sessions, messages,
// faults, damaged packages, what is left open.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

using Texts = std::vector<std::u16string>;

constexpr LPCWSTR kFirst = u"{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0001}";
constexpr LPCWSTR kSecond = u"{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0002}";
constexpr LPCWSTR kUpgrade = u"{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0009}";

class InstallerTest : public testing::Test {
protected:
    Machine machine_;
    Running running_{machine_};
    Installer& installer_ = machine_.installer;

    std::u16string property(MSIHANDLE session, LPCWSTR name) {
        WCHAR buffer[40] = {};
        DWORD count = 40;
        EXPECT_EQ(0u, MsiGetPropertyW(session, name, buffer, &count));
        return std::u16string(buffer, count);
    }

    void send(MSIHANDLE session, LPCWSTR format, const Texts& fields) {
        const MSIHANDLE record = MsiCreateRecord(static_cast<UINT>(fields.size()));
        MsiRecordSetStringW(record, 0, format);
        for (UINT i = 0; i < fields.size(); ++i) {
            MsiRecordSetStringW(record, i + 1, fields[i].c_str());
        }
        EXPECT_EQ(0, MsiProcessMessage(session, INSTALLMESSAGE_INFO, record));
        MsiCloseHandle(record);
    }
};

}  // namespace

TEST_F(InstallerTest, DeferredSessionShowsThreeProperties) {
    const MSIHANDLE session = installer_.openDeferredSession(u"ProductCode={x}");
    installer_.session(session).properties[u"UserSID"] = u"S-1";
    installer_.session(session).properties[u"INSTALLDIR"] = u"C:\\x";
    installer_.session(session).modes.insert(MSIRUNMODE_ADMIN);
    EXPECT_EQ(u"ProductCode={x}", property(session, u"CustomActionData"));
    EXPECT_EQ(u"S-1", property(session, u"UserSID"));
    EXPECT_EQ(u"", property(session, u"ProductCode"));
    EXPECT_EQ(u"", property(session, u"INSTALLDIR"));
    EXPECT_EQ(UINT{ERROR_FUNCTION_FAILED}, MsiSetPropertyW(session, u"A", u"1"));
    EXPECT_EQ(0u, MsiGetActiveDatabase(session));
    EXPECT_TRUE(MsiGetMode(session, MSIRUNMODE_SCHEDULED));
    EXPECT_FALSE(MsiGetMode(session, MSIRUNMODE_COMMIT));
    EXPECT_FALSE(MsiGetMode(session, MSIRUNMODE_ADMIN));
}

TEST_F(InstallerTest, LogReceivesFormattedRecords) {
    const MSIHANDLE session = installer_.openSession({{u"P", u"value"}});
    send(session, u"Norv [1]", {u"[2] [P] text"});
    send(session, u"[2]-[1]-[3]-[P]-[Q]-[", {u"a", u"b"});
    send(session, u"", {u"a", u""});
    EXPECT_EQ((Texts{u"Norv [2] [P] text", u"b-a--value--[", u"1: a 2:  "}), installer_.log());
    EXPECT_EQ(-1, MsiProcessMessage(session, INSTALLMESSAGE_INFO, 0));
    EXPECT_EQ(-1, MsiProcessMessage(session, INSTALLMESSAGE_INFO, session));
    EXPECT_EQ(3u, installer_.log().size());
}

TEST_F(InstallerTest, SessionOutlivesItsClosedHandleAndTheProcess) {
    const MSIHANDLE session = installer_.openSession({{u"A", u"1"}});
    MsiSetPropertyW(session, u"B", u"2");
    EXPECT_EQ(0u, MsiCloseHandle(session));
    EXPECT_EQ(UINT{ERROR_INVALID_HANDLE}, MsiSetPropertyW(session, u"B", u"3"));
    EXPECT_EQ(UINT{ERROR_INVALID_HANDLE}, MsiCloseHandle(session));
    machine_.endProcess();
    EXPECT_EQ(u"2", installer_.property(session, u"B"));
    EXPECT_EQ(u"", installer_.property(session, u"C"));
    EXPECT_EQ(u"1", property(session, u"A"));
}

TEST_F(InstallerTest, PackagesOpenAsTheyAre) {
    Package& package = installer_.addProduct({kFirst, {}, u""}).package;
    package.table(u"Property", {u"Property", u"Value"}).row({u"A", u"1"}).row({u"B"});
    WCHAR path[MAX_PATH] = {};
    DWORD count = MAX_PATH;
    ASSERT_EQ(0u, MsiGetProductInfoW(kFirst, u"LocalPackage", path, &count));
    MSIHANDLE database = 0;
    ASSERT_EQ(0u, MsiOpenDatabaseW(path, MSIDBOPEN_READONLY, &database));

    // What is open stays as it was, also when the product goes.
    package.table(u"Property", {}).row({u"C", u"3"});
    installer_.removeProduct(kFirst);
    MSIHANDLE view = 0;
    ASSERT_EQ(0u,
              MsiDatabaseOpenViewW(database, u"SELECT * FROM Property WHERE Value IS NULL", &view));
    MSIHANDLE record = 0;
    EXPECT_EQ(0u, MsiViewExecute(view, 0));
    EXPECT_EQ(0u, MsiViewFetch(view, &record));
    EXPECT_EQ(
        (std::vector<std::string>{"database " + toUtf8(path),
                                  "view SELECT * FROM Property WHERE Value IS NULL", "record"}),
        installer_.openHandles());
    EXPECT_EQ(UINT{ERROR_NO_MORE_ITEMS}, MsiViewFetch(view, &record));
    EXPECT_EQ(0u, MsiViewClose(view));
    EXPECT_EQ(UINT{ERROR_FUNCTION_FAILED}, MsiViewFetch(view, &record));
    machine_.endProcess();
    EXPECT_EQ(std::vector<std::string>(), installer_.openHandles());

    EXPECT_EQ(UINT{ERROR_OPEN_FAILED}, MsiOpenDatabaseW(path, MSIDBOPEN_READONLY, &database));
    installer_.addPackage(u"C:\\Locked.msi").unreadable(ERROR_INSTALL_PACKAGE_OPEN_FAILED);
    EXPECT_EQ(UINT{ERROR_INSTALL_PACKAGE_OPEN_FAILED},
              MsiOpenDatabaseW(u"c:\\locked.MSI", MSIDBOPEN_READONLY, &database));
    installer_.addPackage(u"C:\\gone.msi").missing();
    EXPECT_EQ(UINT{ERROR_OPEN_FAILED},
              MsiOpenDatabaseW(u"C:\\gone.msi", MSIDBOPEN_READONLY, &database));
    EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER},
              MsiOpenDatabaseW(nullptr, MSIDBOPEN_READONLY, &database));
}

TEST_F(InstallerTest, QueryNeedsItsParameters) {
    const MSIHANDLE session = installer_.openSession();
    installer_.session(session).database.table(u"T", {u"A", u"B"}).row({u"x", u"y"});
    const MSIHANDLE database = MsiGetActiveDatabase(session);
    MSIHANDLE view = 0;
    ASSERT_EQ(0u, MsiDatabaseOpenViewW(database, u"SELECT * FROM T WHERE A=? AND B=?", &view));
    const MSIHANDLE one = MsiCreateRecord(1);
    EXPECT_EQ(UINT{ERROR_FUNCTION_FAILED}, MsiViewExecute(view, 0));
    EXPECT_EQ(UINT{ERROR_FUNCTION_FAILED}, MsiViewExecute(view, one));
    EXPECT_EQ(UINT{ERROR_INVALID_HANDLE}, MsiViewExecute(view, view));
}

TEST_F(InstallerTest, ProductsAreEnumeratedInTheirOrder) {
    installer_.addProduct({kSecond, {}, kUpgrade});
    installer_.addProduct({u"{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0003}", {}, u""});
    installer_.addProduct({kFirst, {}, u"{0a1c5f3e-5f1b-4b7a-8c11-52a6e21d0009}"});
    WCHAR code[39] = {};
    EXPECT_EQ(0u, MsiEnumProductsW(0, code));
    EXPECT_EQ(std::u16string(kSecond), code);
    EXPECT_EQ(0u, MsiEnumRelatedProductsW(kUpgrade, 0, 1, code));
    EXPECT_EQ(std::u16string(kFirst), code);
    EXPECT_EQ(UINT{ERROR_NO_MORE_ITEMS}, MsiEnumRelatedProductsW(kUpgrade, 0, 2, code));
    EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER}, MsiEnumRelatedProductsW(u"{x}", 0, 0, code));
    EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER}, MsiEnumRelatedProductsW(kUpgrade, 1, 0, code));

    machine_.calls.failAll("MsiEnumProductsW");
    EXPECT_EQ(UINT{ERROR_BAD_CONFIGURATION}, MsiEnumProductsW(0, code));
    EXPECT_EQ(UINT{ERROR_BAD_CONFIGURATION}, MsiEnumProductsW(3, code));
    EXPECT_EQ(UINT{ERROR_NO_MORE_ITEMS}, MsiEnumProductsW(4, code));
}

TEST_F(InstallerTest, ConfigureRunsUnderTheProcessSettings) {
    struct Heard {
        Texts texts;
        static int hear(LPVOID context, UINT, LPCWSTR text) {
            static_cast<Heard*>(context)->texts.emplace_back(text);
            return IDOK;
        }
    } heard;
    installer_.addProduct({kFirst});
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    MsiEnableLogW(INSTALLLOGMODE_VERBOSE, u"C:\\x.log", 0);
    MsiSetExternalUIW(Heard::hear, INSTALLLOGMODE_INFO, &heard);
    installer_.onConfigure = [&](const ConfigureCall&) {
        EXPECT_EQ(IDOK, installer_.sendMessage(INSTALLMESSAGE_INFO, u"told"));
        EXPECT_EQ(0, installer_.sendMessage(INSTALLMESSAGE_ERROR, u"filtered out"));
        return UINT{ERROR_SUCCESS_REBOOT_REQUIRED};
    };
    EXPECT_EQ(UINT{ERROR_SUCCESS_REBOOT_REQUIRED},
              MsiConfigureProductExW(kFirst, INSTALLLEVEL_MAXIMUM, INSTALLSTATE_ABSENT, u"A=1"));
    EXPECT_EQ(Texts{u"told"}, heard.texts);
    ASSERT_EQ(1u, installer_.configureCalls().size());
    const ConfigureCall& call = installer_.configureCalls()[0];
    EXPECT_EQ(u"A=1", call.commandLine);
    EXPECT_EQ(INSTALLUILEVEL_NONE, call.uiLevel);
    EXPECT_EQ(u"C:\\x.log", call.logFile);
    EXPECT_TRUE(call.hasHandler);

    EXPECT_NE(nullptr, installer_.product(kFirst));
    installer_.onConfigure = nullptr;
    EXPECT_EQ(0u, MsiConfigureProductExW(kFirst, 0, INSTALLSTATE_DEFAULT, nullptr));
    EXPECT_NE(nullptr, installer_.product(kFirst));
    EXPECT_EQ(0u, MsiConfigureProductExW(kFirst, 0, INSTALLSTATE_ABSENT, nullptr));
    EXPECT_EQ(nullptr, installer_.product(kFirst));
    EXPECT_EQ(3u, installer_.configureCalls().size());

    machine_.endProcess();
    EXPECT_EQ(INSTALLUILEVEL_DEFAULT, installer_.settings().uiLevel);
    EXPECT_EQ(nullptr, installer_.settings().handler);
    EXPECT_EQ(u"", installer_.settings().logFile);
}

TEST_F(InstallerTest, EachCallFailsInItsOwnWayAndChangesNothing) {
    installer_.addProduct({kFirst, {{u"VersionString", u"1"}}, kUpgrade});
    const MSIHANDLE session = installer_.openSession({{u"A", u"1"}});
    installer_.session(session).modes = {MSIRUNMODE_ADMIN};
    installer_.session(session).database.table(u"T", {u"A"}).row({u"x"});
    const MSIHANDLE database = MsiGetActiveDatabase(session);
    const MSIHANDLE record = MsiCreateRecord(1);
    MsiRecordSetStringW(record, 1, u"kept");
    MSIHANDLE view = 0;
    ASSERT_EQ(0u, MsiDatabaseOpenViewW(database, u"SELECT * FROM T", &view));
    ASSERT_EQ(0u, MsiViewExecute(view, 0));
    const std::vector<std::string> before = installer_.openHandles();

    MSIHANDLE made = 0;
    WCHAR text[MAX_PATH] = {};
    DWORD count = MAX_PATH;
    struct {
        const char* function;
        std::function<long()> call;
        long failed;
    } const cases[] = {
        {"MsiGetPropertyW", [&] { return MsiGetPropertyW(session, u"A", text, &count); }, 5},
        {"MsiSetPropertyW", [&] { return MsiSetPropertyW(session, u"A", u"2"); }, 5},
        {"MsiGetMode", [&] { return MsiGetMode(session, MSIRUNMODE_ADMIN); }, 0},
        {"MsiProcessMessage",
         [&] { return MsiProcessMessage(session, INSTALLMESSAGE_INFO, record); }, -1},
        {"MsiGetActiveDatabase", [&] { return MsiGetActiveDatabase(session); }, 0},
        {"MsiOpenDatabaseW", [&] { return MsiOpenDatabaseW(u"C:\\x", MSIDBOPEN_READONLY, &made); },
         5},
        {"MsiDatabaseOpenViewW",
         [&] { return MsiDatabaseOpenViewW(database, u"SELECT * FROM T", &made); }, 5},
        {"MsiViewExecute", [&] { return MsiViewExecute(view, 0); }, 5},
        {"MsiViewFetch", [&] { return MsiViewFetch(view, &made); }, 5},
        {"MsiViewClose", [&] { return MsiViewClose(view); }, 5},
        {"MsiCloseHandle", [&] { return MsiCloseHandle(view); }, 5},
        {"MsiCreateRecord", [&] { return MsiCreateRecord(1); }, 0},
        {"MsiRecordGetFieldCount", [&] { return MsiRecordGetFieldCount(record); }, 0xFFFFFFFF},
        {"MsiRecordSetStringW", [&] { return MsiRecordSetStringW(record, 1, u"lost"); }, 5},
        {"MsiRecordGetStringW", [&] { return MsiRecordGetStringW(record, 1, text, &count); }, 5},
        {"MsiEnumProductsW", [&] { return MsiEnumProductsW(0, text); }, 5},
        {"MsiEnumRelatedProductsW", [&] { return MsiEnumRelatedProductsW(kUpgrade, 0, 0, text); },
         5},
        {"MsiGetProductInfoW",
         [&] { return MsiGetProductInfoW(kFirst, u"VersionString", text, &count); }, 5},
        {"MsiConfigureProductExW",
         [&] { return MsiConfigureProductExW(kFirst, 0, INSTALLSTATE_ABSENT, u""); }, 5},
        {"MsiEnableLogW", [&] { return MsiEnableLogW(0xFFF, u"C:\\x", 0); }, 5},
    };
    for (const auto& c : cases) {
        machine_.calls.failCall(c.function, 1, ERROR_ACCESS_DENIED);
        EXPECT_EQ(c.failed, c.call()) << c.function;
        EXPECT_EQ(c.function, machine_.calls.faultedFunction());
    }
    EXPECT_EQ(before, installer_.openHandles());
    EXPECT_EQ(u"1", installer_.property(session, u"A"));
    EXPECT_EQ(0u, MsiViewFetch(view, &made));
    EXPECT_EQ(0u, MsiRecordGetStringW(record, 1, text, &(count = MAX_PATH)));
    EXPECT_EQ(std::u16string(u"kept"), text);
    EXPECT_TRUE(installer_.log().empty());
    EXPECT_TRUE(installer_.configureCalls().empty());
    EXPECT_EQ(u"", installer_.settings().logFile);
}

TEST_F(InstallerTest, ProductsTakePartInTheComparisonOfMachines) {
    Machine other;
    other.installer.addProduct({kFirst, {{u"LocalPackage", u"C:\\a.msi"}}, kUpgrade});
    EXPECT_EQ(2u, differences(machine_, other).size());
    installer_.addProduct({kFirst, {{u"LocalPackage", u"C:\\a.msi"}}, kUpgrade});
    EXPECT_EQ(std::vector<std::string>(), differences(machine_, other));
}
