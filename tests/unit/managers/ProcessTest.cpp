// Whole updates through the exported action, in processes of every kind.
#include "support/LibraryProcess.h"
#include "support/Products.h"
#include "unit/managers/Family.h"

using namespace family;

namespace {

TEST(ProductUpdate, ServesEveryKindOfProcess) {
    const struct {
        bool is64BitSystem, is64BitProcess;
        tstring common;  // where the shims stand
        tstring library32;
    } cases[] = {
        {true, true, _T("C:\\Program Files"), _T("SysWOW64\\WindowsAssistLink-32.dll")},
        {true, false, _T("C:\\Program Files (x86)"), _T("SysWOW64\\WindowsAssistLink-32.dll")},
        {false, false, _T("C:\\Program Files"), _T("System32\\WindowsAssistLink.dll")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(toUtf8(c.common + c.library32));
        Family pc;
        simulated::Machine& machine = pc.machine;
        if (c.is64BitSystem) {
            machine.facts.is64BitProcess = c.is64BitProcess;
        } else {
            machine.become32Bit();
        }
        pc.machine.registry.setExpandString(View::Bits64, kEnvironment, _T("Path"), _T("C:\\"));
        const tstring norv = c.common + _T("\\Common Files\\Dovrin\\Norv\\");
        machine.volumes.addFile(norv + _T("norvtmp\\norv.exe"), "shim");
        const auto old = ::products::qvk(_T("11.0.2"), 32);
        ::products::install(machine, ::products::qvr(_T("1.8.0_60-b2"), 32));
        ::products::install(machine, old);
        if (c.is64BitSystem) {
            ::products::install(machine, ::products::qvk(_T("21.0.12.1+1"), 64));
        }

        LibraryProcess process(machine);
        const auto session = machine.installer.openDeferredSession(_T("ProductCode=") + old.code);
        EXPECT_EQ(process.call("SetLatestQvr", session), 0u);
        EXPECT_EQ(pc.tree(kVendor, View::Bits32).substr(0, 28), "Norv Runtime Environment=1.8");
        EXPECT_EQ(pc.tree(kVendor),
                  c.is64BitSystem ? "QVK=21.0.12.1{21.0.12.1}" : pc.tree(kVendor, View::Bits32));
        EXPECT_EQ(machine.volumes.content(_T("C:\\Windows\\") + c.library32), "of 11.0.2");
        EXPECT_EQ(machine.volumes.exists(_T("C:\\Windows\\System32\\WindowsAssistLink-64.dll")),
                  c.is64BitSystem);
        EXPECT_EQ(machine.volumes.exists(norv + _T("norvpath\\zemble.exe")), c.is64BitSystem);
        EXPECT_EQ(pc.value(kEnvironment, _T("Path")),
                  c.is64BitSystem ? toUtf8(norv) + "norvpath;C:\\" : "C:\\");
    }
}

}  // namespace
