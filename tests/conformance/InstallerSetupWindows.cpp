#include "InstallerSetup.h"

#include <wtypes.h>

#include <stdexcept>

namespace {

constexpr UINT kIgnoreMachineState = 1;

void check(UINT status, const char* what) {
    if (status != ERROR_SUCCESS) {
        throw std::runtime_error(what + (" failed with " + std::to_string(status)));
    }
}

void execute(MSIHANDLE database, const tstring& query) {
    PMSIHANDLE view;
    check(MsiDatabaseOpenViewW(database, query.c_str(), &view), "MsiDatabaseOpenView");
    check(MsiViewExecute(view, 0), "MsiViewExecute");
    check(MsiViewClose(view), "MsiViewClose");
}

tstring quoted(const std::vector<tstring>& names, TCHAR quote) {
    tstring list;
    for (const tstring& name : names) {
        list += (list.empty() ? _T("") : _T(", ")) + (quote + name + quote);
    }
    return list;
}

void addTable(MSIHANDLE database, const PackageTable& table) {
    tstring columns;
    for (const tstring& column : table.columns) {
        columns += (columns.empty() ? _T("`") : _T(", `")) + column + _T("` CHAR(255)") +
                   (columns.empty() ? _T(" NOT NULL") : _T(""));
    }
    execute(database, _T("CREATE TABLE `") + table.name + _T("` (") + columns +
                          _T(" PRIMARY KEY `") + table.columns.front() + _T("`)"));
    for (const std::vector<tstring>& row : table.rows) {
        execute(database, _T("INSERT INTO `") + table.name + _T("` (") +
                              quoted(table.columns, _T('`')) + _T(") VALUES (") +
                              quoted(row, _T('\'')) + _T(")"));
    }
}

/// The sequence of an installation that registers a product and lays down no file.
void addSequence(MSIHANDLE database) {
    execute(database,
            _T("CREATE TABLE `InstallExecuteSequence` (`Action` CHAR(72) NOT NULL, `Condition` ")
            _T("CHAR(255), `Sequence` SHORT PRIMARY KEY `Action`)"));
    int number = 100;
    for (const TCHAR* action :
         {_T("CostInitialize"), _T("FileCost"), _T("CostFinalize"), _T("InstallValidate"),
          _T("InstallInitialize"), _T("ProcessComponents"), _T("RegisterProduct"),
          _T("PublishFeatures"), _T("PublishProduct"), _T("InstallFinalize")}) {
        execute(database,
                tstring(_T("INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`)")) +
                    _T(" VALUES ('") + action + _T("', ") + std::to_wstring(number++) + _T(")"));
    }
}

/// The tables of directories, features, components and files that every installation reads.
void addContents(MSIHANDLE database) {
    for (const TCHAR* query : {
             _T("CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` ")
             _T("CHAR(72), `DefaultDir` CHAR(255) NOT NULL LOCALIZABLE PRIMARY KEY `Directory`)"),
             _T("INSERT INTO `Directory` (`Directory`, `DefaultDir`) ")
             _T("VALUES ('TARGETDIR', 'SourceDir')"),
             _T("CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Feature_Parent` CHAR(38), ")
             _T("`Title` CHAR(64) LOCALIZABLE, `Description` CHAR(255) LOCALIZABLE, `Display` ")
             _T("SHORT, `Level` SHORT NOT NULL, `Directory_` CHAR(72), `Attributes` SHORT NOT ")
             _T("NULL PRIMARY KEY `Feature`)"),
             _T("INSERT INTO `Feature` (`Feature`, `Level`, `Directory_`, `Attributes`) ")
             _T("VALUES ('Main', 1, 'TARGETDIR', 0)"),
             _T("CREATE TABLE `FeatureComponents` (`Feature_` CHAR(38) NOT NULL, `Component_` ")
             _T("CHAR(72) NOT NULL PRIMARY KEY `Feature_`, `Component_`)"),
             _T("CREATE TABLE `File` (`File` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, ")
             _T("`FileName` CHAR(255) NOT NULL LOCALIZABLE, `FileSize` LONG NOT NULL, `Version` ")
             _T("CHAR(72), `Language` CHAR(20), `Attributes` SHORT, `Sequence` SHORT NOT NULL ")
             _T("PRIMARY KEY `File`)"),
             _T("CREATE TABLE `Media` (`DiskId` SHORT NOT NULL, `LastSequence` SHORT NOT NULL, ")
             _T("`DiskPrompt` CHAR(64) LOCALIZABLE, `Cabinet` CHAR(255), `VolumeLabel` CHAR(32), ")
             _T("`Source` CHAR(72) PRIMARY KEY `DiskId`)"),
         }) {
        execute(database, query);
    }
}

void setSummary(MSIHANDLE database) {
    PMSIHANDLE summary;
    check(MsiGetSummaryInformationW(database, nullptr, 5, &summary), "MsiGetSummaryInformation");
    const auto setText = [&](UINT property, const TCHAR* text) {
        check(MsiSummaryInfoSetPropertyW(summary, property, VT_LPSTR, 0, nullptr, text),
              "MsiSummaryInfoSetProperty");
    };
    const auto setNumber = [&](UINT property, INT number) {
        check(MsiSummaryInfoSetPropertyW(summary, property, VT_I4, number, nullptr, nullptr),
              "MsiSummaryInfoSetProperty");
    };
    setText(7, _T("x64;1033"));                                // template
    setText(9, _T("{0E3D4D27-0B43-4A0F-9F1C-3C4F0D3C7A11}"));  // package code
    setNumber(14, 200);                                        // installer version
    setNumber(15, 2);                                          // word count: compressed
    check(MsiSummaryInfoPersist(summary), "MsiSummaryInfoPersist");
}

}  // namespace

tstring makePackage(const std::vector<PackageTable>& tables) {
    TCHAR directory[MAX_PATH];
    TCHAR file[MAX_PATH];
    GetTempPathW(MAX_PATH, directory);
    GetTempFileNameW(directory, _T("msi"), 0, file);
    PMSIHANDLE database;
    check(MsiOpenDatabaseW(file, MSIDBOPEN_CREATE, &database), "MsiOpenDatabase");
    addTable(database, kProperties);
    addContents(database);
    addSequence(database);
    for (const PackageTable& table : tables) {
        addTable(database, table);
    }
    setSummary(database);
    check(MsiDatabaseCommit(database), "MsiDatabaseCommit");
    return file;
}

MSIHANDLE openPackageSession(const tstring& path) {
    MSIHANDLE session = 0;
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    check(MsiOpenPackageExW(path.c_str(), kIgnoreMachineState, &session), "MsiOpenPackageEx");
    return session;
}

void installPackage(const tstring& path) {
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    check(MsiInstallProductW(path.c_str(), _T("")), "MsiInstallProduct");
}
