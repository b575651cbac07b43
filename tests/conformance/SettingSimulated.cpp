// Runs the suite on the simulated machine in one of its forms: "64", "32on64" or "32".
#include "Setting.h"

#include <gtest/gtest.h>

#include <string>

#include "simulated/machine/Machine.h"

namespace {

std::string form = "64";

simulated::Machine& machine() {
    return simulated::Machine::current();
}

}  // namespace

bool isWindows64Bit() {
    return form != "32";
}

bool isProgram64Bit() {
    return form == "64";
}

bool isWine() {
    return false;
}

void setVariable(const TCHAR* name, const TCHAR* value) {
    machine().facts.environment.erase(name);
    if (value != nullptr) {
        machine().facts.environment.emplace(name, value);
    }
}

void leaveErrorInfo(const TCHAR* description) {
    machine().shell.setErrorInfo(description);
}

std::pair<tstring, tstring> lastDelayedMove() {
    const simulated::DelayedMove& move = machine().volumes.delayedMoves().back();
    return {move.from, move.to};
}

const tstring& packagePath() {
    static const tstring made = [] {
        const tstring path = _T("C:\\Test\\conformance.msi");
        simulated::Package& package = machine().installer.addPackage(path);
        for (const PackageTable& table : kPackage) {
            simulated::Table& copy = package.table(table.name, table.columns);
            for (const std::vector<tstring>& row : table.rows) {
                copy.row(row);
            }
        }
        return path;
    }();
    return made;
}

MSIHANDLE openPackageSession() {
    const MSIHANDLE handle = machine().installer.openSession();
    machine().installer.session(handle).database = *machine().installer.packageAt(packagePath());
    return handle;
}

void installPackage() {
    machine().installer.addProduct({kProductCode,
                                    {{INSTALLPROPERTY_VERSIONSTRING, _T("1.2.3")}},
                                    kUpgradeCode,
                                    *machine().installer.packageAt(packagePath())});
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    form = argc > 1 ? argv[1] : form;
    simulated::Machine machine;
    const simulated::Running running(machine);
    machine.desktop.hasDisplay = false;
    if (!isWindows64Bit()) {
        machine.become32Bit();
    }
    for (const tstring& directory : {machine.facts.systemDirectory, machine.facts.wow64Directory}) {
        machine.volumes.addFile(directory + _T("\\kernel32.dll"));
        machine.volumes.setVersion(directory + _T("\\kernel32.dll"), 10, 0, 19045, 1);
    }
    machine.facts.is64BitProcess = isProgram64Bit();
    machine.facts.programPath = _T("C:\\Test\\conformance.exe");
    machine.volumes.addFile(machine.facts.programPath);
    machine.volumes.lockAsProgram(machine.facts.programPath);
    return RUN_ALL_TESTS();
}
