// The Windows Installer: records, packages and queries, sessions, products, settings.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <tchar.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "InstallerSetup.h"

/// The constants of statuses have other types than what they are compared with.
#define EXPECT_STATUS(status, call) EXPECT_EQ(static_cast<UINT>(status), call)

namespace {

constexpr UINT kOk = ERROR_SUCCESS;
constexpr UINT kNoObject = ERROR_INVALID_HANDLE;
constexpr UINT kWrong = ERROR_INVALID_PARAMETER;
constexpr UINT kNoMore = ERROR_NO_MORE_ITEMS;
constexpr UINT kFailed = ERROR_FUNCTION_FAILED;
constexpr MSIHANDLE kNoHandle = 0x7FFFFFF0;
int WINAPI ignoreMessage(LPVOID, UINT, LPCWSTR) {
    return 0;
}

/// A package with tables to query.
const tstring& packagePath() {
    static const tstring path = makePackage({{_T("Tool"),
                                              {_T("Tool"), _T("Id"), _T("Owner")},
                                              {{_T("a"), _T("{1}"), _T("x")},
                                               {_T("b"), _T("{2}"), _T("")},
                                               {_T("c"), _T("{3}"), _T("x")},
                                               {_T("d"), _T("x"), _T("x")}}},
                                             {_T("Nothing"), {_T("Key"), _T("Value")}, {}}});
    return path;
}

/// A value as MsiRecordGetStringW gives it.
tstring fieldOf(MSIHANDLE record, UINT field) {
    TCHAR buffer[300] = {};
    DWORD count = 300;
    EXPECT_EQ(kOk, MsiRecordGetStringW(record, field, buffer, &count));
    return tstring(buffer, count);
}

class Query : public testing::Test {
protected:
    void SetUp() override {
        EXPECT_EQ(kOk, MsiOpenDatabaseW(packagePath().c_str(), MSIDBOPEN_READONLY, &database_));
    }
    void TearDown() override { EXPECT_EQ(kOk, MsiCloseHandle(database_)); }

    /// The rows that a query gives, sorted; each row's fields with "|" between them.
    std::vector<tstring> rows(const TCHAR* query) {
        MSIHANDLE view = 0;
        MSIHANDLE record = 0;
        EXPECT_EQ(kOk, MsiDatabaseOpenViewW(database_, query, &view));
        EXPECT_EQ(kOk, MsiViewExecute(view, 0));
        std::vector<tstring> result;
        while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            tstring text;
            for (UINT i = 1; i <= MsiRecordGetFieldCount(record); ++i) {
                text += (i == 1 ? _T("") : _T("|")) + fieldOf(record, i);
            }
            result.push_back(text);
            EXPECT_EQ(kOk, MsiCloseHandle(record));
        }
        EXPECT_EQ(kOk, MsiCloseHandle(view));
        std::sort(result.begin(), result.end());
        return result;
    }

    MSIHANDLE database_ = 0;
};

}  // namespace

TEST(Record, FieldsReadAsTheyWereSet) {
    const MSIHANDLE record = MsiCreateRecord(2);
    EXPECT_EQ(2u, MsiRecordGetFieldCount(record));
    EXPECT_EQ(kOk, MsiRecordSetStringW(record, 1, _T("12345")));
    EXPECT_STATUS(ERROR_INVALID_FIELD, MsiRecordSetStringW(record, 3, _T("three")));
    EXPECT_EQ(_T(""), fieldOf(record, 2) + fieldOf(record, 3));
    // A buffer's size counts the NUL, the length that is told doesn't.
    TCHAR buffer[8] = {};
    const struct {
        TCHAR* buffer;
        DWORD size;
        UINT status;
    } kCases[] = {{buffer, 5, ERROR_MORE_DATA}, {buffer, 6, kOk}, {nullptr, 0, kOk}};
    for (const auto& one : kCases) {
        DWORD count = one.size;
        EXPECT_STATUS(one.status, MsiRecordGetStringW(record, 1, one.buffer, &count)) << one.size;
        EXPECT_EQ(5u, count) << one.size;
    }
    EXPECT_EQ(tstring(_T("12345")), buffer);
    EXPECT_EQ(kOk, MsiCloseHandle(record));
    EXPECT_EQ(0u, MsiCreateRecord(65536));
}

TEST(MsiHandle, WrongOnesAreRefused) {
    const MSIHANDLE record = MsiCreateRecord(1);
    MSIHANDLE made = 0;
    TCHAR buffer[8];
    DWORD count = 8;
    EXPECT_EQ(kOk, MsiCloseHandle(0));
    for (const MSIHANDLE wrong : {kNoHandle, record}) {
        EXPECT_EQ(kNoObject, MsiGetPropertyW(wrong, _T("X"), buffer, &count));
        EXPECT_EQ(kNoObject, MsiSetPropertyW(wrong, _T("X"), _T("1")));
        EXPECT_FALSE(MsiGetMode(wrong, MSIRUNMODE_ADMIN));
        EXPECT_EQ(0u, MsiGetActiveDatabase(wrong));
        EXPECT_NE(0, MsiProcessMessage(wrong, INSTALLMESSAGE_INFO, record));
        EXPECT_EQ(kNoObject, MsiDatabaseOpenViewW(wrong, _T("SELECT * FROM A"), &made));
        EXPECT_EQ(kNoObject, MsiViewExecute(wrong, 0));
        EXPECT_EQ(kNoObject, MsiViewFetch(wrong, &made));
        EXPECT_EQ(kNoObject, MsiViewClose(wrong));
    }
    EXPECT_EQ(0xFFFFFFFFu, MsiRecordGetFieldCount(kNoHandle));
    EXPECT_EQ(kNoObject, MsiRecordSetStringW(kNoHandle, 1, _T("1")));
    EXPECT_EQ(kNoObject, MsiRecordGetStringW(kNoHandle, 1, buffer, &count));
    EXPECT_EQ(kOk, MsiCloseHandle(record));
    EXPECT_EQ(kNoObject, MsiCloseHandle(record));
}

TEST_F(Query, GivesTheRowsThatFit) {
    using Rows = std::vector<tstring>;
    EXPECT_EQ((Rows{_T("a|{1}|x"), _T("b|{2}|"), _T("c|{3}|x"), _T("d|x|x")}),
              rows(_T("SELECT * FROM Tool")));
    EXPECT_EQ(Rows{_T("{2}")}, rows(_T("SELECT Id FROM Tool WHERE Tool = 'b'")));
    EXPECT_EQ(Rows{}, rows(_T("SELECT Id FROM Tool WHERE Tool = 'B'")));
    EXPECT_EQ((Rows{_T("b"), _T("c")}),
              rows(_T("SELECT Tool FROM Tool WHERE Id = '{3}' OR Tool = 'b'")));
    EXPECT_EQ(Rows{}, rows(_T("SELECT * FROM Nothing")));
    for (const TCHAR* query :
         {_T("SELECT * FROM Missing"), _T("SELECT * FROM tool"), _T("SELECT Missing FROM Tool"),
          _T("SELECT * FROM Tool WHERE Missing = 'a'"),
          _T("SELECT * FROM Tool WHERE Tool = 'o'b'")}) {
        MSIHANDLE view = 0;
        EXPECT_STATUS(ERROR_BAD_QUERY_SYNTAX, MsiDatabaseOpenViewW(database_, query, &view))
            << testing::PrintToString(tstring(query));
    }
}

TEST_F(Query, ViewIsExecutedFetchedAndClosed) {
    MSIHANDLE view = 0;
    MSIHANDLE record = kNoHandle;
    ASSERT_EQ(kOk,
              MsiDatabaseOpenViewW(database_, _T("SELECT Id FROM Tool WHERE Tool = ?"), &view));
    EXPECT_EQ(kFailed, MsiViewFetch(view, &record));
    if (!isWine()) {  // which ends without the parameter that the page of MsiViewExecute demands
        EXPECT_EQ(kFailed, MsiViewExecute(view, 0));
    }
    EXPECT_EQ(kNoObject, MsiViewExecute(view, kNoHandle));
    const MSIHANDLE parameter = MsiCreateRecord(1);
    MsiRecordSetStringW(parameter, 1, _T("b"));
    for (const bool isClosed : {true, false}) {
        EXPECT_EQ(kOk, MsiViewExecute(view, parameter));
        // Wine executes it again; by the page of MsiViewClose it has to be closed or at its end.
        EXPECT_STATUS(isWine() ? kOk : kFailed, MsiViewExecute(view, parameter));
        EXPECT_EQ(kOk, MsiViewFetch(view, &record));
        EXPECT_EQ(_T("{2}"), fieldOf(record, 1));
        EXPECT_EQ(kOk, MsiCloseHandle(record));
        EXPECT_EQ(kNoMore, MsiViewFetch(view, &record));
        EXPECT_EQ(0u, record);
        EXPECT_EQ(kOk, isClosed ? MsiViewClose(view) : kOk);
    }
    MsiCloseHandle(parameter);
    MsiCloseHandle(view);
    EXPECT_NE(kOk, MsiOpenDatabaseW(_T("C:\\no such folder\\x.msi"), MSIDBOPEN_READONLY, &record));
}

TEST(Session, PropertiesMessagesModesAndDatabase) {
    const MSIHANDLE session = openPackageSession(packagePath());
    const auto read = [&](const TCHAR* name) {
        TCHAR buffer[20] = {};
        DWORD count = 20;
        const UINT status = MsiGetPropertyW(session, name, buffer, &count);
        return status == ERROR_SUCCESS ? tstring(buffer, count) : _T("status ") + tstring(buffer);
    };
    const std::pair<const TCHAR*, const TCHAR*> sets[] = {{_T("A"), _T("1")},
                                                          {_T("A"), _T("")},
                                                          {_T("lower_2.x"), _T("x y")},
                                                          {_T("A"), _T("nineteen units here")}};
    for (const auto& [name, value] : sets) {
        EXPECT_EQ(kOk, MsiSetPropertyW(session, name, value));
        EXPECT_EQ(value, read(name));
    }
    EXPECT_EQ(_T(""), read(_T("a")));
    EXPECT_EQ(kOk, MsiSetPropertyW(session, _T("A"), _T("twenty units are he!")));
    EXPECT_EQ(_T("status twenty units are he"), read(_T("A"))) << "cut";
    EXPECT_EQ(kOk, MsiSetPropertyW(session, _T("A"), nullptr));
    EXPECT_EQ(kWrong, MsiSetPropertyW(session, nullptr, _T("1")));
    EXPECT_EQ(kFailed, MsiSetPropertyW(session, _T(""), _T("1")));

    const MSIHANDLE message = MsiCreateRecord(1);
    MsiRecordSetStringW(message, 0, _T("Norv [1]"));
    MsiRecordSetStringW(message, 1, _T("text"));
    EXPECT_EQ(0, MsiProcessMessage(session, INSTALLMESSAGE_INFO, message));
    EXPECT_NE(0, MsiProcessMessage(session, INSTALLMESSAGE_INFO, 0));
    MsiCloseHandle(message);
    for (const MSIRUNMODE mode : {MSIRUNMODE_ADMIN, MSIRUNMODE_SCHEDULED, MSIRUNMODE_COMMIT}) {
        EXPECT_FALSE(MsiGetMode(session, mode)) << mode;
    }
    const MSIHANDLE database = MsiGetActiveDatabase(session);
    MSIHANDLE view = 0;
    EXPECT_EQ(kOk, MsiDatabaseOpenViewW(database, _T("SELECT Id FROM Tool"), &view));
    for (const MSIHANDLE handle : {view, database, session}) {
        EXPECT_EQ(kOk, MsiCloseHandle(handle));
    }
    EXPECT_EQ(kNoObject, MsiSetPropertyW(session, _T("A"), _T("")));
}

TEST(Products, UnknownAndMalformedCodes) {
    TCHAR buffer[40] = {};
    DWORD count = 40;
    const TCHAR* const kUnknown = _T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21DFFFF}");
    const TCHAR* const kName = _T("VersionString");
    EXPECT_STATUS(ERROR_UNKNOWN_PRODUCT, MsiGetProductInfoW(kUnknown, kName, buffer, &count));
    EXPECT_STATUS(ERROR_UNKNOWN_PRODUCT, MsiConfigureProductExW(kUnknown, INSTALLLEVEL_MAXIMUM,
                                                                INSTALLSTATE_ABSENT, _T("")));
    EXPECT_EQ(kNoMore, MsiEnumRelatedProductsW(kUnknown, 0, 0, buffer));
    const UINT wrong[] = {
        MsiGetProductInfoW(nullptr, kName, buffer, &count),
        MsiGetProductInfoW(_T(""), kName, buffer, &count),
        MsiGetProductInfoW(kUnknown + 1, kName, buffer, &count),
        MsiGetProductInfoW(_T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21DFFF}"), kName, buffer, &count),
        MsiGetProductInfoW(_T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21DFFFG}"), kName, buffer, &count),
        MsiGetProductInfoW(kUnknown, nullptr, buffer, &count),
        MsiGetProductInfoW(kUnknown, kName, buffer, nullptr),
        MsiEnumProductsW(0, nullptr),
        MsiEnumRelatedProductsW(nullptr, 0, 0, buffer),
        MsiEnumRelatedProductsW(kUnknown, 0, 0, nullptr)};
    for (const UINT status : wrong) {
        EXPECT_EQ(kWrong, status) << &status - wrong;
    }
}

TEST(Products, InstalledOneIsListedToldAndOpened) {
    installPackage(packagePath());
    TCHAR code[39] = {};
    bool listed = false;
    DWORD index = 0;
    UINT status = ERROR_SUCCESS;
    while ((status = MsiEnumProductsW(index++, code)) == ERROR_SUCCESS) {
        listed = listed || tstring(code) == kProductCode;
    }
    EXPECT_EQ(kNoMore, status);
    EXPECT_TRUE(listed);
    EXPECT_EQ(kOk, MsiEnumRelatedProductsW(kUpgradeCode, 0, 0, code));
    EXPECT_EQ(tstring(kProductCode), code);
    EXPECT_EQ(kNoMore, MsiEnumRelatedProductsW(kUpgradeCode, 0, 1, code));

    const TCHAR* const product = kProductCode;
    const auto tell = [&](const TCHAR* attribute) {
        TCHAR buffer[MAX_PATH] = {};
        DWORD count = MAX_PATH;
        EXPECT_EQ(kOk, MsiGetProductInfoW(product, attribute, buffer, &count));
        return tstring(buffer, count);
    };
    EXPECT_EQ(_T("1.2.3"), tell(_T("VersionString")));
    EXPECT_EQ(_T(""), tell(_T("ProductIcon")));
    DWORD count = 5;
    EXPECT_STATUS(ERROR_MORE_DATA, MsiGetProductInfoW(product, _T("VersionString"), code, &count));
    EXPECT_EQ(5u, std::exchange(count, 0));
    EXPECT_EQ(kOk, MsiGetProductInfoW(product, _T("VersionString"), nullptr, &count));
    EXPECT_EQ(5u, count);
    MSIHANDLE database = 0;
    EXPECT_EQ(kOk,
              MsiOpenDatabaseW(tell(_T("LocalPackage")).c_str(), MSIDBOPEN_READONLY, &database));
    EXPECT_EQ(kOk, MsiCloseHandle(database));
    EXPECT_EQ(kOk, MsiConfigureProductExW(product, INSTALLLEVEL_MAXIMUM, INSTALLSTATE_ABSENT,
                                          _T("REBOOT=R")));
    EXPECT_EQ(kNoMore, MsiEnumRelatedProductsW(kUpgradeCode, 0, 0, code));
}

TEST(InstallerSettings, EachGivesThePreviousOne) {
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    EXPECT_EQ(INSTALLUILEVEL_NONE, MsiSetInternalUI(INSTALLUILEVEL_BASIC, nullptr));
    EXPECT_EQ(INSTALLUILEVEL_BASIC, MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr));
    const INSTALLUI_HANDLERW handler = ignoreMessage;
    EXPECT_EQ(nullptr, MsiSetExternalUIW(handler, 0xFFFFFFFF, nullptr));
    EXPECT_EQ(handler, MsiSetExternalUIW(nullptr, 0, nullptr));
    EXPECT_EQ(nullptr, MsiSetExternalUIW(nullptr, 0, nullptr));
    EXPECT_EQ(kOk, MsiEnableLogW(0, nullptr, 0));
}
