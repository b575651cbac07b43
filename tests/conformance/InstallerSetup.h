// What the installer's tests find on the machine: a package, a session on it, a product installed
// from it. Making these takes calls that the library never makes, so each machine has its own way.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <string>
#include <vector>

#include "Inspection.h"

/// A table of text columns; the first is its key. An empty value is null.
struct PackageTable {
    tstring name;
    std::vector<tstring> columns;
    std::vector<std::vector<tstring>> rows;
};

inline const TCHAR* const kProductCode = _T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0001}");
inline const TCHAR* const kUpgradeCode = _T("{0A1C5F3E-5F1B-4B7A-8C11-52A6E21D0002}");

/// What a package must hold to be opened as an installation and to be installed.
inline const PackageTable kProperties = {_T("Property"),
                                         {_T("Property"), _T("Value")},
                                         {{_T("ProductCode"), kProductCode},
                                          {_T("UpgradeCode"), kUpgradeCode},
                                          {_T("ProductName"), _T("Conformance")},
                                          {_T("ProductVersion"), _T("1.2.3")},
                                          {_T("ProductLanguage"), _T("1033")},
                                          {_T("Manufacturer"), _T("Test")},
                                          {_T("ALLUSERS"), _T("1")}}};

/// Makes a package file with these tables beside the properties, and gives its path.
tstring makePackage(const std::vector<PackageTable>& tables);

/// Opens an installation of the package, as far as an immediate action sees it. The handle is the
/// caller's.
MSIHANDLE openPackageSession(const tstring& path);

/// Installs the package's product, without a file in it.
void installPackage(const tstring& path);
