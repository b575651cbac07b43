// The Windows Installer: records, packages and queries, sessions, products, settings.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <tchar.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Inspection.h"
#include "InstallerSetup.h"

/// The constants of statuses have other types than what they are compared with.
#define EXPECT_STATUS(status, call) EXPECT_EQ(static_cast<UINT>(status), call)

namespace {

constexpr MSIHANDLE kNoHandle = 0x7FFFFFF0;
const PackageFacts kFacts = {_T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0001}"),
                             _T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0002}"), _T("Conformance"),
                             _T("1.2.3")};

int WINAPI ignoreMessage(LPVOID, UINT, LPCWSTR) {
    return 0;
}

/// A package with tables to query.
const tstring& packagePath() {
    static const tstring path =
        makePackage(kFacts, {{_T("Tool"),
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
    EXPECT_STATUS(ERROR_SUCCESS, MsiRecordGetStringW(record, field, buffer, &count));
    return tstring(buffer, count);
}

class Query : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(UINT{ERROR_SUCCESS},
                  MsiOpenDatabaseW(packagePath().c_str(), MSIDBOPEN_READONLY, &database_));
    }
    void TearDown() override { EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(database_)); }

    /// The rows that a query gives, sorted; each row's fields with "|" between them.
    std::vector<tstring> rows(const tstring& query, const std::vector<tstring>& parameters = {}) {
        MSIHANDLE view = 0;
        EXPECT_STATUS(ERROR_SUCCESS, MsiDatabaseOpenViewW(database_, query.c_str(), &view));
        MSIHANDLE record = 0;
        if (!parameters.empty()) {
            record = MsiCreateRecord(static_cast<UINT>(parameters.size()));
            for (UINT i = 0; i < parameters.size(); ++i) {
                EXPECT_STATUS(ERROR_SUCCESS,
                              MsiRecordSetStringW(record, i + 1, parameters[i].c_str()));
            }
        }
        EXPECT_STATUS(ERROR_SUCCESS, MsiViewExecute(view, record));
        EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(record));
        std::vector<tstring> result;
        while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            tstring text;
            for (UINT i = 1; i <= MsiRecordGetFieldCount(record); ++i) {
                text += (i == 1 ? _T("") : _T("|")) + fieldOf(record, i);
            }
            result.push_back(text);
            EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(record));
        }
        EXPECT_STATUS(ERROR_SUCCESS, MsiViewClose(view));
        EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(view));
        std::sort(result.begin(), result.end());
        return result;
    }

    UINT openStatus(const TCHAR* query) {
        MSIHANDLE view = 0;
        const UINT status = MsiDatabaseOpenViewW(database_, query, &view);
        MsiCloseHandle(view);
        return status;
    }

    MSIHANDLE database_ = 0;
};

}  // namespace

TEST(Record, FieldsReadAsTheyWereSet) {
    const MSIHANDLE record = MsiCreateRecord(2);
    ASSERT_NE(0u, record);
    EXPECT_EQ(2u, MsiRecordGetFieldCount(record));
    EXPECT_EQ(_T(""), fieldOf(record, 1));
    EXPECT_STATUS(ERROR_SUCCESS, MsiRecordSetStringW(record, 0, _T("template [1]")));
    EXPECT_STATUS(ERROR_SUCCESS, MsiRecordSetStringW(record, 1, _T("one")));
    EXPECT_STATUS(ERROR_SUCCESS, MsiRecordSetStringW(record, 2, nullptr));
    EXPECT_STATUS(ERROR_INVALID_FIELD, MsiRecordSetStringW(record, 3, _T("three")));
    EXPECT_EQ(_T("template [1]"), fieldOf(record, 0));
    EXPECT_EQ(_T("one"), fieldOf(record, 1));
    EXPECT_EQ(_T(""), fieldOf(record, 2));
    EXPECT_EQ(_T(""), fieldOf(record, 3));
    EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(record));

    EXPECT_EQ(0u, MsiCreateRecord(65536));
    const MSIHANDLE empty = MsiCreateRecord(0);
    EXPECT_EQ(0u, MsiRecordGetFieldCount(empty));
    EXPECT_STATUS(ERROR_SUCCESS, MsiRecordSetStringW(empty, 0, _T("x")));
    EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(empty));
}

TEST(Record, BufferCountsTheNulAndTheCountDoesNot) {
    const MSIHANDLE record = MsiCreateRecord(1);
    MsiRecordSetStringW(record, 1, _T("12345"));
    struct {
        DWORD size;
        UINT status;
    } const cases[] = {
        {6, ERROR_SUCCESS}, {7, ERROR_SUCCESS}, {5, ERROR_MORE_DATA}, {1, ERROR_MORE_DATA}};
    for (const auto& c : cases) {
        TCHAR buffer[8] = {};
        DWORD count = c.size;
        EXPECT_STATUS(c.status, MsiRecordGetStringW(record, 1, buffer, &count)) << c.size;
        EXPECT_EQ(5u, count) << c.size;
        if (c.status == ERROR_SUCCESS) {
            EXPECT_EQ(_T("12345"), tstring(buffer)) << c.size;
        }
    }
    DWORD count = 0;
    TCHAR untouched = _T('#');
    EXPECT_STATUS(ERROR_MORE_DATA, MsiRecordGetStringW(record, 1, &untouched, &count));
    EXPECT_EQ(_T('#'), untouched);
    EXPECT_EQ(5u, count);
    count = 0;
    EXPECT_STATUS(ERROR_SUCCESS, MsiRecordGetStringW(record, 1, nullptr, &count));
    EXPECT_EQ(5u, count);
    MsiCloseHandle(record);
}

TEST(MsiHandle, WrongOnesAreRefused) {
    const MSIHANDLE record = MsiCreateRecord(1);
    MSIHANDLE made = 0;
    TCHAR buffer[8];
    DWORD count = 8;
    EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(0));
    for (const MSIHANDLE wrong : {kNoHandle, record}) {
        EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiGetPropertyW(wrong, _T("X"), buffer, &count));
        EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiSetPropertyW(wrong, _T("X"), _T("1")));
        EXPECT_FALSE(MsiGetMode(wrong, MSIRUNMODE_ADMIN));
        EXPECT_EQ(0u, MsiGetActiveDatabase(wrong));
        EXPECT_NE(0, MsiProcessMessage(wrong, INSTALLMESSAGE_INFO, record));
        EXPECT_STATUS(ERROR_INVALID_HANDLE,
                      MsiDatabaseOpenViewW(wrong, _T("SELECT * FROM A"), &made));
        EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiViewExecute(wrong, 0));
        EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiViewFetch(wrong, &made));
        EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiViewClose(wrong));
    }
    EXPECT_EQ(0xFFFFFFFFu, MsiRecordGetFieldCount(kNoHandle));
    EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiRecordSetStringW(kNoHandle, 1, _T("1")));
    EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiRecordGetStringW(kNoHandle, 1, buffer, &count));
    EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(record));
    EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiCloseHandle(record));
}

TEST_F(Query, GivesTheRowsThatFit) {
    using Rows = std::vector<tstring>;
    EXPECT_EQ((Rows{_T("a|{1}|x"), _T("b|{2}|"), _T("c|{3}|x"), _T("d|x|x")}),
              rows(_T("SELECT * FROM Tool")));
    EXPECT_EQ(Rows{_T("{2}")}, rows(_T("SELECT Id FROM Tool WHERE Tool = 'b'")));
    EXPECT_EQ(Rows{}, rows(_T("SELECT Id FROM Tool WHERE Tool = 'B'")));
    EXPECT_EQ((Rows{_T("b"), _T("c")}),
              rows(_T("SELECT Tool FROM Tool WHERE Id = '{3}' OR Tool = 'b'")));
    EXPECT_EQ((Rows{_T("a"), _T("b")}),
              rows(_T("SELECT Tool FROM Tool WHERE Tool = ? OR Id = ?"), {_T("a"), _T("{2}")}));
    EXPECT_EQ(Rows{}, rows(_T("SELECT * FROM Nothing")));
}

TEST_F(Query, BadOnesAreRefused) {
    for (const TCHAR* query :
         {_T("SELECT * FROM Missing"), _T("SELECT * FROM tool"), _T("SELECT Missing FROM Tool"),
          _T("SELECT * FROM Tool WHERE Missing = 'a'"),
          _T("SELECT * FROM Tool WHERE Tool = 'o'b'")}) {
        EXPECT_STATUS(ERROR_BAD_QUERY_SYNTAX, openStatus(query))
            << testing::PrintToString(tstring(query));
    }
    EXPECT_STATUS(ERROR_INVALID_PARAMETER,
                  MsiDatabaseOpenViewW(database_, _T("SELECT * FROM Tool"), nullptr));
}

TEST_F(Query, ViewIsExecutedFetchedAndClosed) {
    MSIHANDLE view = 0;
    MSIHANDLE record = kNoHandle;
    ASSERT_EQ(UINT{ERROR_SUCCESS},
              MsiDatabaseOpenViewW(database_, _T("SELECT Id FROM Tool WHERE Tool = ?"), &view));
    EXPECT_STATUS(ERROR_FUNCTION_FAILED, MsiViewFetch(view, &record));
    EXPECT_STATUS(ERROR_FUNCTION_FAILED, MsiViewExecute(view, 0));
    EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiViewExecute(view, kNoHandle));
    const MSIHANDLE parameter = MsiCreateRecord(1);
    for (const TCHAR* key : {_T("a"), _T("b")}) {
        MsiRecordSetStringW(parameter, 1, key);
        EXPECT_STATUS(ERROR_SUCCESS, MsiViewExecute(view, parameter));
        // Wine executes it again; the page of MsiViewClose wants all rows fetched or the view
        // closed.
        if (!isWine()) {
            EXPECT_STATUS(ERROR_FUNCTION_FAILED, MsiViewExecute(view, parameter));
        }
        EXPECT_STATUS(ERROR_INVALID_PARAMETER, MsiViewFetch(view, nullptr));
        EXPECT_STATUS(ERROR_SUCCESS, MsiViewFetch(view, &record));
        EXPECT_EQ(key == tstring(_T("a")) ? _T("{1}") : _T("{2}"), fieldOf(record, 1));
        EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(record));
        EXPECT_STATUS(ERROR_NO_MORE_ITEMS, MsiViewFetch(view, &record));
        EXPECT_EQ(0u, record);
        EXPECT_STATUS(ERROR_SUCCESS, MsiViewClose(view));
    }
    MsiCloseHandle(parameter);
    MsiCloseHandle(view);
}

TEST(Package, MissingOneIsNotOpened) {
    MSIHANDLE database = 0;
    EXPECT_NE(UINT{ERROR_SUCCESS},
              MsiOpenDatabaseW(_T("C:\\no such folder\\x.msi"), MSIDBOPEN_READONLY, &database));
    EXPECT_EQ(0u, database);
}

TEST(Session, PropertiesAndDatabase) {
    const MSIHANDLE session = openPackageSession(packagePath());
    struct {
        const TCHAR* name;
        const TCHAR* value;
        UINT status;
        const TCHAR* read;
    } const cases[] = {{_T("A"), _T("1"), ERROR_SUCCESS, _T("1")},
                       {_T("A"), _T(""), ERROR_SUCCESS, _T("")},
                       {_T("lower"), _T("x y"), ERROR_SUCCESS, _T("x y")},
                       {_T("A.b_2"), _T("2"), ERROR_SUCCESS, _T("2")},
                       {_T("ProductVersion"), _T("9"), ERROR_SUCCESS, _T("9")},
                       {_T("A"), nullptr, ERROR_SUCCESS, _T("")}};
    for (const auto& c : cases) {
        TCHAR buffer[20] = {};
        DWORD count = 20;
        EXPECT_STATUS(c.status, MsiSetPropertyW(session, c.name, c.value))
            << testing::PrintToString(tstring(c.name));
        EXPECT_STATUS(ERROR_SUCCESS, MsiGetPropertyW(session, c.name, buffer, &count));
        EXPECT_EQ(tstring(c.read), tstring(buffer, count))
            << testing::PrintToString(tstring(c.name));
    }
    EXPECT_STATUS(ERROR_INVALID_PARAMETER, MsiSetPropertyW(session, nullptr, _T("1")));
    EXPECT_STATUS(ERROR_FUNCTION_FAILED, MsiSetPropertyW(session, _T(""), _T("1")));

    TCHAR buffer[20] = {};
    DWORD count = 20;
    EXPECT_STATUS(ERROR_INVALID_PARAMETER, MsiGetPropertyW(session, nullptr, buffer, &count));
    EXPECT_STATUS(ERROR_INVALID_PARAMETER, MsiGetPropertyW(session, _T("A"), buffer, nullptr));
    EXPECT_STATUS(ERROR_SUCCESS, MsiGetPropertyW(session, _T("a"), buffer, &count));
    EXPECT_EQ(0u, count);
    const tstring nineteen(19, _T('n'));
    MsiSetPropertyW(session, _T("LONG"), nineteen.c_str());
    count = 20;
    EXPECT_STATUS(ERROR_SUCCESS, MsiGetPropertyW(session, _T("LONG"), buffer, &count));
    EXPECT_EQ(nineteen, tstring(buffer, count));
    MsiSetPropertyW(session, _T("LONG"), (nineteen + _T("n")).c_str());
    count = 20;
    EXPECT_STATUS(ERROR_MORE_DATA, MsiGetPropertyW(session, _T("LONG"), buffer, &count));
    EXPECT_EQ(20u, count);
    EXPECT_EQ(nineteen, tstring(buffer));

    const MSIHANDLE message = MsiCreateRecord(1);
    MsiRecordSetStringW(message, 0, _T("Norv [1]"));
    MsiRecordSetStringW(message, 1, _T("text"));
    EXPECT_EQ(0, MsiProcessMessage(session, INSTALLMESSAGE_INFO, message));
    EXPECT_EQ(-1, MsiProcessMessage(session, INSTALLMESSAGE_INFO, 0));
    MsiCloseHandle(message);
    for (const MSIRUNMODE mode : {MSIRUNMODE_ADMIN, MSIRUNMODE_SCHEDULED, MSIRUNMODE_COMMIT}) {
        EXPECT_FALSE(MsiGetMode(session, mode)) << mode;
    }

    const MSIHANDLE database = MsiGetActiveDatabase(session);
    ASSERT_NE(0u, database);
    MSIHANDLE view = 0;
    EXPECT_STATUS(ERROR_SUCCESS, MsiDatabaseOpenViewW(database, _T("SELECT Id FROM Tool"), &view));
    EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(view));
    EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(database));
    EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(session));
    count = 20;
    EXPECT_STATUS(ERROR_INVALID_HANDLE, MsiGetPropertyW(session, _T("A"), buffer, &count));
}

TEST(Products, UnknownAndMalformedCodes) {
    TCHAR buffer[40] = {};
    DWORD count = 40;
    const TCHAR* const unknown = _T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21DFFFF}");
    EXPECT_STATUS(ERROR_UNKNOWN_PRODUCT,
                  MsiGetProductInfoW(unknown, _T("VersionString"), buffer, &count));
    EXPECT_STATUS(ERROR_UNKNOWN_PRODUCT, MsiConfigureProductExW(unknown, INSTALLLEVEL_MAXIMUM,
                                                                INSTALLSTATE_ABSENT, _T("")));
    for (const TCHAR* wrong :
         {static_cast<const TCHAR*>(nullptr), _T(""), _T("x"),
          _T("0A1C5F3E-5F1B-4B7A-8C11-52A6E21DFFFF"), _T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21DFFF}"),
          _T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21DFFFG}")}) {
        EXPECT_STATUS(ERROR_INVALID_PARAMETER,
                      MsiGetProductInfoW(wrong, _T("VersionString"), buffer, &count));
    }
    EXPECT_STATUS(ERROR_INVALID_PARAMETER, MsiEnumRelatedProductsW(nullptr, 0, 0, buffer));
    EXPECT_STATUS(ERROR_INVALID_PARAMETER, MsiGetProductInfoW(unknown, nullptr, buffer, &count));
    EXPECT_STATUS(ERROR_INVALID_PARAMETER,
                  MsiGetProductInfoW(unknown, _T("VersionString"), buffer, nullptr));
    EXPECT_STATUS(ERROR_INVALID_PARAMETER, MsiEnumProductsW(0, nullptr));
    EXPECT_STATUS(ERROR_INVALID_PARAMETER, MsiEnumRelatedProductsW(unknown, 0, 0, nullptr));
    EXPECT_STATUS(ERROR_NO_MORE_ITEMS, MsiEnumRelatedProductsW(unknown, 0, 0, buffer));
}

TEST(Products, InstalledOneIsListedToldAndOpened) {
    installPackage(packagePath());
    TCHAR code[39] = {};
    bool listed = false;
    DWORD index = 0;
    UINT status = ERROR_SUCCESS;
    while ((status = MsiEnumProductsW(index++, code)) == ERROR_SUCCESS) {
        listed = listed || code == kFacts.productCode;
    }
    EXPECT_STATUS(ERROR_NO_MORE_ITEMS, status);
    EXPECT_TRUE(listed);
    EXPECT_STATUS(ERROR_SUCCESS, MsiEnumRelatedProductsW(kFacts.upgradeCode.c_str(), 0, 0, code));
    EXPECT_EQ(kFacts.productCode, code);
    EXPECT_STATUS(ERROR_NO_MORE_ITEMS,
                  MsiEnumRelatedProductsW(kFacts.upgradeCode.c_str(), 0, 1, code));

    TCHAR buffer[MAX_PATH] = {};
    DWORD count = MAX_PATH;
    const TCHAR* const product = kFacts.productCode.c_str();
    EXPECT_STATUS(ERROR_SUCCESS, MsiGetProductInfoW(product, _T("VersionString"), buffer, &count));
    EXPECT_EQ(_T("1.2.3"), tstring(buffer, count));
    count = 5;
    EXPECT_STATUS(ERROR_MORE_DATA,
                  MsiGetProductInfoW(product, _T("VersionString"), buffer, &count));
    EXPECT_EQ(5u, count);
    count = 0;
    EXPECT_STATUS(ERROR_SUCCESS, MsiGetProductInfoW(product, _T("VersionString"), nullptr, &count));
    EXPECT_EQ(5u, count);
    count = MAX_PATH;
    EXPECT_STATUS(ERROR_SUCCESS, MsiGetProductInfoW(product, _T("ProductIcon"), buffer, &count));
    EXPECT_EQ(0u, count);

    count = MAX_PATH;
    EXPECT_STATUS(ERROR_SUCCESS, MsiGetProductInfoW(product, _T("LocalPackage"), buffer, &count));
    MSIHANDLE database = 0;
    EXPECT_STATUS(ERROR_SUCCESS, MsiOpenDatabaseW(buffer, MSIDBOPEN_READONLY, &database));
    EXPECT_STATUS(ERROR_SUCCESS, MsiCloseHandle(database));
    EXPECT_STATUS(ERROR_SUCCESS, MsiConfigureProductExW(product, INSTALLLEVEL_MAXIMUM,
                                                        INSTALLSTATE_ABSENT, _T("REBOOT=R")));
    count = MAX_PATH;
    EXPECT_STATUS(ERROR_UNKNOWN_PRODUCT,
                  MsiGetProductInfoW(product, _T("VersionString"), buffer, &count));
    EXPECT_STATUS(ERROR_NO_MORE_ITEMS,
                  MsiEnumRelatedProductsW(kFacts.upgradeCode.c_str(), 0, 0, code));
}

TEST(InstallerSettings, EachGivesThePreviousOne) {
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    EXPECT_EQ(INSTALLUILEVEL_NONE, MsiSetInternalUI(INSTALLUILEVEL_BASIC, nullptr));
    EXPECT_EQ(INSTALLUILEVEL_BASIC, MsiSetInternalUI(INSTALLUILEVEL_NOCHANGE, nullptr));
    EXPECT_EQ(INSTALLUILEVEL_BASIC, MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr));
    const INSTALLUI_HANDLERW handler = ignoreMessage;
    EXPECT_EQ(nullptr, MsiSetExternalUIW(handler, 0xFFFFFFFF, nullptr));
    EXPECT_EQ(handler, MsiSetExternalUIW(nullptr, 0, nullptr));
    EXPECT_EQ(nullptr, MsiSetExternalUIW(nullptr, 0, nullptr));
    EXPECT_STATUS(ERROR_SUCCESS, MsiEnableLogW(0, nullptr, 0));
}
