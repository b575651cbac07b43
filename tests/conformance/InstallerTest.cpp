// The Windows Installer: records, packages and queries, sessions, products, settings.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Setting.h"

namespace {

constexpr UINT kOk = ERROR_SUCCESS;
constexpr UINT kNoObject = ERROR_INVALID_HANDLE;
constexpr UINT kNoMore = ERROR_NO_MORE_ITEMS;
constexpr UINT kMoreData = ERROR_MORE_DATA;

int WINAPI ignoreMessage(LPVOID, UINT, LPCWSTR) {
    return 0;
}

/// The string that a call copies into a buffer of 20 characters; "more" if it is longer.
template <class Call, class First, class Second>
tstring textOf(Call call, First first, Second second) {
    TCHAR buffer[20] = {};
    DWORD count = 20;
    const UINT status = call(first, second, buffer, &count);
    return status == kOk ? tstring(buffer, count) : (status == kMoreData ? _T("more") : _T("?"));
}

/// The rows of a query, with "|" after each field.
std::vector<tstring> rows(MSIHANDLE database, const TCHAR* query, MSIHANDLE parameters = 0) {
    MSIHANDLE view = 0;
    MSIHANDLE record = 0;
    EXPECT_EQ(kOk, MsiDatabaseOpenViewW(database, query, &view));
    EXPECT_EQ(kOk, MsiViewExecute(view, parameters));
    std::vector<tstring> result;
    UINT status = kOk;
    while ((status = MsiViewFetch(view, &record)) == kOk) {
        tstring& row = result.emplace_back();
        for (UINT i = 1; i <= MsiRecordGetFieldCount(record); ++i) {
            row += textOf(MsiRecordGetStringW, record, i) + _T("|");
        }
        EXPECT_EQ(kOk, MsiCloseHandle(record));
    }
    EXPECT_EQ(kNoMore, status);
    EXPECT_EQ(kOk, MsiViewClose(view));
    EXPECT_EQ(kOk, MsiCloseHandle(view));
    return result;
}

}  // namespace

TEST(MsiHandle, MissingAndOtherKindsOfHandlesAreRefused) {
    const MSIHANDLE record = MsiCreateRecord(1);
    TCHAR buffer[8] = {};
    DWORD count = 8;
    for (const MSIHANDLE wrong : {MSIHANDLE{0}, record}) {
        EXPECT_EQ(kNoObject, MsiGetPropertyW(wrong, _T("X"), buffer, &count));
        EXPECT_EQ(kNoObject, MsiSetPropertyW(wrong, _T("X"), _T("1")));
        EXPECT_FALSE(MsiGetMode(wrong, MSIRUNMODE_ADMIN));
        EXPECT_EQ(0u, MsiGetActiveDatabase(wrong));
        EXPECT_NE(0, MsiProcessMessage(wrong, INSTALLMESSAGE_INFO, record));
    }
    EXPECT_EQ(kOk, MsiCloseHandle(record));
    EXPECT_EQ(kNoObject, MsiCloseHandle(record));
    EXPECT_EQ(0xFFFFFFFFu, MsiRecordGetFieldCount(record));
}

TEST(Query, ReturnsTheRowsThatMatch) {
    using Rows = std::vector<tstring>;
    MSIHANDLE database = 0;
    EXPECT_NE(kOk, MsiOpenDatabaseW(_T("C:\\none\\x.msi"), MSIDBOPEN_READONLY, &database));
    EXPECT_EQ(kOk, MsiOpenDatabaseW(packagePath().c_str(), MSIDBOPEN_READONLY, &database));
    const std::pair<const TCHAR*, Rows> kCases[] = {
        {_T("SELECT * FROM Tool"), {_T("a|{1}|x|"), _T("b|{2}||"), _T("c|{3}|x|")}},
        {_T("SELECT Id FROM Tool WHERE Tool = 'b'"), {_T("{2}|")}},
        {_T("SELECT Id FROM Tool WHERE Tool = 'B'"), {}},
        {_T("SELECT Tool FROM Tool WHERE Id = '{3}' OR Tool = 'b'"), {_T("b|"), _T("c|")}}};
    for (const auto& [query, expected] : kCases) {
        EXPECT_EQ(expected, rows(database, query)) << testing::PrintToString(tstring(query));
    }
    const MSIHANDLE parameter = MsiCreateRecord(1);
    MsiRecordSetStringW(parameter, 1, _T("b"));
    EXPECT_EQ(Rows{_T("{2}|")},
              rows(database, _T("SELECT Id FROM Tool WHERE Tool = ?"), parameter));
    for (const TCHAR* query :
         {_T("SELECT * FROM Missing"), _T("SELECT * FROM tool"), _T("SELECT Missing FROM Tool"),
          _T("SELECT * FROM Tool WHERE Missing = 'a'"),
          _T("SELECT * FROM Tool WHERE Tool = 'o'b'")}) {
        MSIHANDLE view = 0;
        EXPECT_EQ(UINT{ERROR_BAD_QUERY_SYNTAX}, MsiDatabaseOpenViewW(database, query, &view))
            << testing::PrintToString(tstring(query));
    }
    EXPECT_EQ(kOk, MsiCloseHandle(parameter));
    EXPECT_EQ(kOk, MsiCloseHandle(database));
}

TEST(Query, AFetchAfterTheLastRowStartsAgain) {
    MSIHANDLE database = 0;
    MSIHANDLE view = 0;
    EXPECT_EQ(kOk, MsiOpenDatabaseW(packagePath().c_str(), MSIDBOPEN_READONLY, &database));
    EXPECT_EQ(kOk, MsiDatabaseOpenViewW(database, _T("SELECT Tool FROM Tool"), &view));
    EXPECT_EQ(kOk, MsiViewExecute(view, 0));
    for (const TCHAR* const expected : {_T("a"), _T("b"), _T("c"), _T(""), _T("a"), _T("b")}) {
        MSIHANDLE record = 0;
        const UINT status = MsiViewFetch(view, &record);
        if (*expected == _T('\0')) {
            EXPECT_EQ(kNoMore, status);
            EXPECT_EQ(0u, record);
            continue;
        }
        EXPECT_EQ(kOk, status);
        EXPECT_EQ(expected, textOf(MsiRecordGetStringW, record, 1u));
        EXPECT_EQ(kOk, MsiCloseHandle(record));
    }
    EXPECT_EQ(kOk, MsiCloseHandle(view));
    EXPECT_EQ(kOk, MsiCloseHandle(database));
}

TEST(Session, HasPropertiesMessagesModesAndADatabase) {
    const MSIHANDLE session = openPackageSession();
    for (const TCHAR* const value : {_T("1"), _T(""), _T("x y")}) {
        EXPECT_EQ(kOk, MsiSetPropertyW(session, _T("A"), value));
        EXPECT_EQ(value, textOf(MsiGetPropertyW, session, _T("A")));
        EXPECT_EQ(_T(""), textOf(MsiGetPropertyW, session, _T("a")));
    }
    EXPECT_EQ(kOk, MsiSetPropertyW(session, _T("A"), _T("twenty units are he!")));
    EXPECT_EQ(_T("more"), textOf(MsiGetPropertyW, session, _T("A")));

    const MSIHANDLE message = MsiCreateRecord(1);
    MsiRecordSetStringW(message, 0, _T("Norv [1]"));
    MsiRecordSetStringW(message, 1, _T("text"));
    EXPECT_EQ(0, MsiProcessMessage(session, INSTALLMESSAGE_INFO, message));
    EXPECT_NE(0, MsiProcessMessage(session, INSTALLMESSAGE_INFO, 0));
    for (const MSIRUNMODE mode : {MSIRUNMODE_ADMIN, MSIRUNMODE_SCHEDULED, MSIRUNMODE_COMMIT}) {
        EXPECT_FALSE(MsiGetMode(session, mode)) << mode;
    }
    const MSIHANDLE database = MsiGetActiveDatabase(session);
    EXPECT_EQ(3u, rows(database, _T("SELECT Id FROM Tool")).size());
    for (const MSIHANDLE handle : {message, database, session}) {
        EXPECT_EQ(kOk, MsiCloseHandle(handle));
    }
    EXPECT_EQ(kNoObject, MsiSetPropertyW(session, _T("A"), _T("")));
}

TEST(Session, AcceptsEveryNameOfAPropertyButTheEmptyOne) {
    const MSIHANDLE session = openPackageSession();
    for (const TCHAR* const name : {_T("="), _T(" "), _T("'"), _T("1")}) {
        EXPECT_EQ(kOk, MsiSetPropertyW(session, name, _T("x"))) << testing::PrintToString(name);
        EXPECT_EQ(_T("x"), textOf(MsiGetPropertyW, session, name));
    }
    EXPECT_EQ(UINT{ERROR_FUNCTION_FAILED}, MsiSetPropertyW(session, _T(""), _T("x")));
    EXPECT_EQ(kOk, MsiSetPropertyW(session, _T(""), nullptr));
    EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER}, MsiSetPropertyW(session, nullptr, nullptr));
    EXPECT_EQ(kOk, MsiCloseHandle(session));
}

TEST(Session, AMissingHandleIsReportedBeforeAMissingName) {
    EXPECT_EQ(kNoObject, MsiSetPropertyW(0, nullptr, nullptr));
}

TEST(Products, AreListedReadOpenedAndRemoved) {
    TCHAR code[39] = {};
    const TCHAR* const product = kProductCode.c_str();
    const auto related = [&](DWORD index) {
        return MsiEnumRelatedProductsW(kUpgradeCode.c_str(), 0, index, code);
    };
    const auto remove = [&] {
        return MsiConfigureProductExW(product, INSTALLLEVEL_MAXIMUM, INSTALLSTATE_ABSENT,
                                      _T("A=1"));
    };
    const UINT kUnknown = ERROR_UNKNOWN_PRODUCT;
    EXPECT_EQ(kNoMore, related(0));
    EXPECT_EQ(kUnknown, MsiGetProductInfoW(product, _T("VersionString"), nullptr, nullptr));
    EXPECT_EQ(kUnknown, remove());

    installPackage();
    std::vector<tstring> listed;
    UINT status = kOk;
    while ((status = MsiEnumProductsW(static_cast<DWORD>(listed.size()), code)) == kOk) {
        listed.emplace_back(code);
    }
    EXPECT_EQ(kNoMore, status);
    EXPECT_EQ(1, std::count(listed.begin(), listed.end(), kProductCode));
    EXPECT_EQ(kOk, related(0));
    EXPECT_EQ(kProductCode, code);
    EXPECT_EQ(kNoMore, related(1));
    EXPECT_EQ(_T("1.2.3"), textOf(MsiGetProductInfoW, product, _T("VersionString")));
    EXPECT_EQ(_T(""), textOf(MsiGetProductInfoW, product, _T("ProductIcon")));
    EXPECT_EQ(_T("more"), textOf(MsiGetProductInfoW, product, _T("LocalPackage")));
    TCHAR path[MAX_PATH] = {};
    DWORD count = MAX_PATH;
    MSIHANDLE database = 0;
    EXPECT_EQ(kOk, MsiGetProductInfoW(product, _T("LocalPackage"), path, &count));
    EXPECT_EQ(kOk, MsiOpenDatabaseW(path, MSIDBOPEN_READONLY, &database));
    EXPECT_EQ(kOk, MsiCloseHandle(database));
    EXPECT_EQ(kOk, remove());
    EXPECT_EQ(kNoMore, related(0));
}

class InstalledProduct : public testing::Test {
protected:
    InstalledProduct() { installPackage(); }
    ~InstalledProduct() override {
        MsiConfigureProductExW(kProductCode.c_str(), INSTALLLEVEL_MAXIMUM, INSTALLSTATE_ABSENT,
                               _T(""));
    }

    static UINT enumerate(DWORD index) {
        TCHAR code[39] = {};
        return MsiEnumProductsW(index, code);
    }
};

TEST_F(InstalledProduct, EnumerationRefusesAnIndexThatDoesNotFollowTheLastOne) {
    EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER}, enumerate(2)) << "without index 0";
    EXPECT_EQ(kOk, enumerate(0));
    EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER}, enumerate(2));
    EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER}, enumerate(3)) << "each later index as well";
    EXPECT_NE(UINT{ERROR_INVALID_PARAMETER}, enumerate(1)) << "the index that is due";
}

TEST_F(InstalledProduct, EnumerationStartsAgainAtIndexZero) {
    EXPECT_EQ(kOk, enumerate(0));
    enumerate(1);
    EXPECT_EQ(kOk, enumerate(0));
    EXPECT_EQ(kOk, enumerate(0));
}

TEST_F(InstalledProduct, EnumerationWithoutABufferIsRefusedAndDoesNotAdvance) {
    EXPECT_EQ(kOk, enumerate(0));
    EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER}, MsiEnumProductsW(1, nullptr));
    EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER}, enumerate(2));
    EXPECT_NE(UINT{ERROR_INVALID_PARAMETER}, enumerate(1));
}

TEST(InstallerSettings, EachReturnsThePreviousOne) {
    MsiSetInternalUI(INSTALLUILEVEL_BASIC, nullptr);
    EXPECT_EQ(INSTALLUILEVEL_BASIC, MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr));
    EXPECT_EQ(nullptr, MsiSetExternalUIW(ignoreMessage, 0xFFFFFFFF, nullptr));
    EXPECT_EQ(INSTALLUI_HANDLERW{ignoreMessage}, MsiSetExternalUIW(nullptr, 0, nullptr));
    EXPECT_EQ(kOk, MsiEnableLogW(0, nullptr, 0));
}
