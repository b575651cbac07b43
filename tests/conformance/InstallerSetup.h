// What the installer's tests find on the machine: a package, a session on it, a product installed
// from it. Making these takes calls that the library never makes, so each machine has its own way.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <tchar.h>

#include <string>
#include <vector>

using tstring = std::basic_string<TCHAR>;

/// A table of text columns; the first is its key. An empty value is null.
struct PackageTable {
    tstring name;
    std::vector<tstring> columns;
    std::vector<std::vector<tstring>> rows;
};

/// What a package must hold to be opened as an installation and to be installed, beside the tables
/// of a test: the table Property with these values.
struct PackageFacts {
    tstring productCode;
    tstring upgradeCode;
    tstring productName;
    tstring version;
};

/// Makes a package file and gives its path. Throws std::runtime_error if it can't.
tstring makePackage(const PackageFacts& facts, const std::vector<PackageTable>& tables);

/// Opens an installation of the package, as far as an immediate action sees it. The handle is the
/// caller's.
MSIHANDLE openPackageSession(const tstring& path);

/// Installs the package's product, without a file in it.
void installPackage(const tstring& path);
