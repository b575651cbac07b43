#include "InstallerSetup.h"

#include <map>

#include "simulated/machine/Machine.h"

namespace {

simulated::Installer& installer() {
    return simulated::Machine::current().installer;
}

struct MadePackage {
    PackageFacts facts;
    simulated::Package package;
};

std::map<tstring, MadePackage>& madePackages() {
    static std::map<tstring, MadePackage> packages;
    return packages;
}

void addTable(simulated::Package& package, const PackageTable& table) {
    simulated::Table& made = package.table(table.name, table.columns);
    for (const std::vector<tstring>& row : table.rows) {
        made.row(row);
    }
}

std::map<tstring, tstring> propertiesOf(const PackageFacts& facts) {
    return {{_T("ProductCode"), facts.productCode},
            {_T("UpgradeCode"), facts.upgradeCode},
            {_T("ProductName"), facts.productName},
            {_T("ProductVersion"), facts.version},
            {_T("ProductLanguage"), _T("1033")},
            {_T("Manufacturer"), _T("Test")},
            {_T("ALLUSERS"), _T("1")}};
}

}  // namespace

tstring makePackage(const PackageFacts& facts, const std::vector<PackageTable>& tables) {
    const tstring path = _T("C:\\Test\\") + facts.productCode + _T(".msi");
    MadePackage& made = madePackages()[path];
    made = {facts, {}};
    for (const auto& [name, value] : propertiesOf(facts)) {
        addTable(made.package, {_T("Property"), {_T("Property"), _T("Value")}, {{name, value}}});
    }
    for (const PackageTable& table : tables) {
        addTable(made.package, table);
    }
    installer().addPackage(path) = made.package;
    return path;
}

MSIHANDLE openPackageSession(const tstring& path) {
    const MadePackage& made = madePackages().at(path);
    const MSIHANDLE handle = installer().openSession(propertiesOf(made.facts));
    installer().session(handle).database = made.package;
    return handle;
}

void installPackage(const tstring& path) {
    const MadePackage& made = madePackages().at(path);
    installer().addProduct({made.facts.productCode,
                            {{INSTALLPROPERTY_PRODUCTNAME, made.facts.productName},
                             {INSTALLPROPERTY_INSTALLEDPRODUCTNAME, made.facts.productName},
                             {INSTALLPROPERTY_VERSIONSTRING, made.facts.version}},
                            made.facts.upgradeCode,
                            made.package});
}
