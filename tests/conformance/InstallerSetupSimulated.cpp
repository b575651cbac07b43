#include "InstallerSetup.h"

#include <map>

#include "simulated/machine/Machine.h"

namespace {

simulated::Installer& installer() {
    return simulated::Machine::current().installer;
}

void addTable(simulated::Package& package, const PackageTable& table) {
    simulated::Table& made = package.table(table.name, table.columns);
    for (const std::vector<tstring>& row : table.rows) {
        made.row(row);
    }
}

}  // namespace

tstring makePackage(const std::vector<PackageTable>& tables) {
    const tstring path = _T("C:\\Test\\conformance.msi");
    simulated::Package& package = installer().addPackage(path);
    addTable(package, kProperties);
    for (const PackageTable& table : tables) {
        addTable(package, table);
    }
    return path;
}

MSIHANDLE openPackageSession(const tstring& path) {
    std::map<tstring, tstring> properties;
    for (const std::vector<tstring>& row : kProperties.rows) {
        properties.emplace(row[0], row[1]);
    }
    const MSIHANDLE handle = installer().openSession(properties);
    installer().session(handle).database = *installer().packageAt(path);
    return handle;
}

void installPackage(const tstring& path) {
    installer().addProduct({kProductCode,
                            {{INSTALLPROPERTY_VERSIONSTRING, _T("1.2.3")}},
                            kUpgradeCode,
                            *installer().packageAt(path)});
}
