#include "Setting.h"

#include <oleauto.h>

#include <stdexcept>

namespace {

void check(UINT status) {
    if (status != ERROR_SUCCESS) {
        throw std::runtime_error("the installer failed with " + std::to_string(status));
    }
}

void execute(MSIHANDLE database, const tstring& query) {
    PMSIHANDLE view;
    check(MsiDatabaseOpenViewW(database, query.c_str(), &view));
    check(MsiViewExecute(view, 0));
}

void addTable(MSIHANDLE database, const PackageTable& table) {
    tstring types;
    tstring names;
    for (const tstring& column : table.columns) {
        types += (types.empty() ? _T("`") : _T(", `")) + column +
                 (column == _T("Sequence") ? _T("` SHORT") : _T("` CHAR(255)")) +
                 (types.empty() ? _T(" NOT NULL") : _T(""));
        names += (names.empty() ? _T("`") : _T(", `")) + column + _T("`");
    }
    execute(database, _T("CREATE TABLE `") + table.name + _T("` (") + types + _T(" PRIMARY KEY `") +
                          table.columns.front() + _T("`)"));
    for (const std::vector<tstring>& row : table.rows) {
        tstring values;
        for (const tstring& value : row) {
            values += (values.empty() ? _T("'") : _T(", '")) + value + _T("'");
        }
        execute(database, _T("INSERT INTO `") + table.name + _T("` (") + names + _T(") VALUES (") +
                              values + _T(")"));
    }
}

void setSummary(MSIHANDLE database) {
    PMSIHANDLE summary;
    check(MsiGetSummaryInformationW(database, nullptr, 5, &summary));
    const auto set = [&](UINT property, UINT type, INT number, const TCHAR* text) {
        check(MsiSummaryInfoSetPropertyW(summary, property, type, number, nullptr, text));
    };
    set(7, VT_LPSTR, 0, _T("x64;1033"));                                // template
    set(9, VT_LPSTR, 0, _T("{0E3D4D27-0B43-4A0F-9F1C-3C4F0D3C7A11}"));  // package code
    set(14, VT_I4, 200, nullptr);                                       // installer version
    set(15, VT_I4, 2, nullptr);                                         // word count: compressed
    check(MsiSummaryInfoPersist(summary));
}

}  // namespace

bool isWindows64Bit() {
    return isProgram64Bit() || GetEnvironmentVariableW(L"PROCESSOR_ARCHITEW6432", nullptr, 0) != 0;
}

bool isProgram64Bit() {
    return sizeof(void*) == 8;
}

bool isWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

void setVariable(const TCHAR* name, const TCHAR* value) {
    SetEnvironmentVariableW(name, value);
}

void leaveErrorInfo(const TCHAR* description) {
    ICreateErrorInfo* made = nullptr;
    IErrorInfo* info = nullptr;
    CreateErrorInfo(&made);
    made->SetDescription(const_cast<LPOLESTR>(description));
    made->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
    SetErrorInfo(0, info);
    info->Release();
    made->Release();
}

std::pair<tstring, tstring> lastDelayedMove() {
    TCHAR value[8192] = {};
    DWORD size = sizeof(value);
    RegGetValueW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                 L"PendingFileRenameOperations", RRF_RT_ANY, nullptr, value, &size);
    std::pair<tstring, tstring> last;
    for (const TCHAR* at = value; *at != L'\0';) {
        for (tstring* const name : {&last.first, &last.second}) {
            const tstring text = at;
            at += text.size() + 1;
            *name = text.empty() ? text : text.substr(text.find(L"\\??\\") + 4);
        }
    }
    return last;
}

const tstring& packagePath() {
    static const tstring made = [] {
        const tstring path = temporaryPath(_T("conformance.msi"));
        PMSIHANDLE database;
        check(MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_CREATE, &database));
        for (const PackageTable& table : kPackage) {
            addTable(database, table);
        }
        setSummary(database);
        check(MsiDatabaseCommit(database));
        MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
        return path;
    }();
    return made;
}

MSIHANDLE openPackageSession() {
    constexpr DWORD kIgnoreMachineState = 1;
    MSIHANDLE session = 0;
    check(MsiOpenPackageExW(packagePath().c_str(), kIgnoreMachineState, &session));
    return session;
}

void installPackage() {
    check(MsiInstallProductW(packagePath().c_str(), _T("")));
}
