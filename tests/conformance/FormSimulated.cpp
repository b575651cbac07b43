// Runs the suite on the simulated machine in one of its forms: "64", "32on64" or "32".
#include "Form.h"

#include <gtest/gtest.h>

#include <string>

#include "simulated/machine/Machine.h"

namespace {

std::string form = "64";

}  // namespace

bool isWindows64Bit() {
    return form != "32";
}

bool isProgram64Bit() {
    return form == "64";
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
    for (const std::u16string& directory :
         {machine.facts.systemDirectory, machine.facts.wow64Directory}) {
        machine.volumes.addFile(directory + u"\\kernel32.dll");
        machine.volumes.setVersion(directory + u"\\kernel32.dll", 10, 0, 19045, 1);
    }
    machine.facts.is64BitProcess = isProgram64Bit();
    return RUN_ALL_TESTS();
}
