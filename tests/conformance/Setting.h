// What the suite needs of the machine that it runs on, by calls that the library never makes: each
// machine has its own way.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <tchar.h>

#include <string>
#include <utility>
#include <vector>

using tstring = std::basic_string<TCHAR>;

// The kind of Windows that a run was started for; what Windows' functions return about it is
// compared with this.
bool isWindows64Bit();
bool isProgram64Bit();

/// Whether the machine is Wine. Where it differs from Windows, a test says by which page of
/// Microsoft's documentation the simulated machine was made.
bool isWine();

/// Sets a variable of the process; a null value takes it away.
void setVariable(const TCHAR* name, const TCHAR* value);

/// Leaves an error object with this description on the thread, as a failing COM call does.
void leaveErrorInfo(const TCHAR* description);

/// The last move that was put off until the restart: from where, to where.
std::pair<tstring, tstring> lastDelayedMove();

/// A table of a package; its first column is its key. An empty value is null.
struct PackageTable {
    tstring name;
    std::vector<tstring> columns;
    std::vector<std::vector<tstring>> rows;
};

inline const tstring kProductCode = _T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0001}");
inline const tstring kUpgradeCode = _T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0002}");

/// The package of the installer's tests: what it takes to be opened and installed, without a file,
/// and a table to query.
inline const std::vector<PackageTable> kPackage = {
    {_T("Property"),
     {_T("Property"), _T("Value")},
     {{_T("ProductCode"), kProductCode},
      {_T("UpgradeCode"), kUpgradeCode},
      {_T("ProductName"), _T("Conformance")},
      {_T("ProductVersion"), _T("1.2.3")},
      {_T("ProductLanguage"), _T("1033")},
      {_T("Manufacturer"), _T("Test")},
      {_T("ALLUSERS"), _T("1")}}},
    {_T("Feature"),
     {_T("Feature"), _T("Feature_Parent"), _T("Title"), _T("Description"), _T("Display"),
      _T("Level"), _T("Directory_"), _T("Attributes")},
     {{_T("Main"), _T(""), _T(""), _T(""), _T(""), _T("1"), _T(""), _T("0")}}},
    {_T("InstallExecuteSequence"),
     {_T("Action"), _T("Condition"), _T("Sequence")},
     {{_T("CostInitialize"), _T(""), _T("1")},
      {_T("CostFinalize"), _T(""), _T("2")},
      {_T("InstallInitialize"), _T(""), _T("3")},
      {_T("RegisterProduct"), _T(""), _T("4")},
      {_T("PublishProduct"), _T(""), _T("5")},
      {_T("InstallFinalize"), _T(""), _T("6")}}},
    {_T("Tool"),
     {_T("Tool"), _T("Id"), _T("Owner")},
     {{_T("a"), _T("{1}"), _T("x")}, {_T("b"), _T("{2}"), _T("")}, {_T("c"), _T("{3}"), _T("x")}}}};

/// The package's file, which is made when it is first asked for.
const tstring& packagePath();

/// Opens an installation of the package, as far as an immediate action sees it. The handle is the
/// caller's.
MSIHANDLE openPackageSession();

/// Installs the package's product.
void installPackage();

/// The path of a name in the temporary directory.
inline tstring temporaryPath(const tstring& name) {
    TCHAR directory[MAX_PATH] = {};
    return tstring(directory, GetTempPathW(MAX_PATH, directory)) + name;
}
