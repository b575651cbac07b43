// Whole updates through the exported action, in processes of every kind.
#include "support/LibraryProcess.h"
#include "support/Products.h"
#include "unit/managers/Family.h"

using simulated::Machine;
using namespace family;

namespace {

const tstring kNowhere = _T("{12345678-0000-0000-0000-00000000ABCD}");

/// A machine with what an update needs besides products.
void prepare(Machine& machine) {
    machine.volumes.addDirectory(kMenu);
    machine.registry.setExpandString(View::Bits64, kEnvironment, _T("Path"), _T("C:\\Windows"));
}

UINT update(Machine& machine, const tstring& customActionData) {
    LibraryProcess process(machine);
    const UINT status =
        process.call("SetLatestQvr", machine.installer.openDeferredSession(customActionData));
    EXPECT_EQ(machine.handles.open(), Strings());
    return status;
}

std::string value(const Machine& machine, View view, const tstring& key, const tstring& name) {
    return toUtf8(machine.registry.getString(view, key, name).value_or(_T("(none)")));
}

TEST(ProductUpdate, ServesEveryKindOfProcess) {
    const struct {
        bool is64BitSystem, is64BitProcess;
        tstring common;                // where the shims stand
        tstring library32, library64;  // the libraries in the system directories
    } cases[] = {
        {true, true, _T("C:\\Program Files\\Common Files"),
         _T("C:\\Windows\\SysWOW64\\WindowsAssistLink-32.dll"),
         _T("C:\\Windows\\System32\\WindowsAssistLink-64.dll")},
        {true, false, _T("C:\\Program Files (x86)\\Common Files"),
         _T("C:\\Windows\\SysWOW64\\WindowsAssistLink-32.dll"),
         _T("C:\\Windows\\System32\\WindowsAssistLink-64.dll")},
        {false, false, _T("C:\\Program Files\\Common Files"),
         _T("C:\\Windows\\System32\\WindowsAssistLink.dll"), _T("")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(toUtf8(c.common + c.library32));
        Machine machine;
        if (c.is64BitSystem) {
            machine.facts.is64BitProcess = c.is64BitProcess;
        } else {
            machine.become32Bit();
        }
        prepare(machine);
        const tstring norv = c.common + _T("\\Dovrin\\Norv\\");
        machine.volumes.addFile(norv + _T("norvtmp\\norv.exe"), "shim");
        machine.volumes.addFile(norv + _T("norvtmp\\norvw.exe"), "shim");
        machine.registry.createKey(View::Bits64, _T("HKCU\\User\\Software\\Halvorex\\Norv2D\\9"));
        const auto runtime = ::products::qvr(_T("1.8.0_60-b2"), 32);
        const auto old = ::products::qvk(_T("11.0.2"), 32);
        ::products::install(machine, runtime);
        ::products::install(machine, old);
        if (c.is64BitSystem) {
            ::products::install(machine, ::products::qvk(_T("21.0.12.1+1"), 64));
        }

        EXPECT_EQ(update(machine, _T("ProductCode=") + old.code), 0u);
        EXPECT_EQ(value(machine, View::Bits32, kVendor + _T("\\Norv Runtime Environment"),
                        _T("CurrentVersion")),
                  "1.8");
        EXPECT_EQ(value(machine, View::Bits32, kVendor + _T("\\QVK"), _T("CurrentVersion")),
                  "11.0.2");
        EXPECT_EQ(value(machine, View::Bits64, kVendor + _T("\\QVK"), _T("CurrentVersion")),
                  c.is64BitSystem ? "21.0.12.1" : "11.0.2");
        EXPECT_EQ(machine.volumes.content(c.library32), "of 11.0.2");
        EXPECT_EQ(machine.volumes.exists(norv + _T("norvpath\\zemble.exe")), c.is64BitSystem);
        EXPECT_EQ(value(machine, View::Bits64, kEnvironment, _T("Path")),
                  c.is64BitSystem ? toUtf8(norv) + "norvpath;C:\\Windows" : "C:\\Windows");
        if (c.is64BitSystem) {
            EXPECT_EQ(machine.volumes.content(c.library64), "of 21.0.12.1+1");
        } else {
            EXPECT_TRUE(
                logMentions(machine, "Set [HKLM\\Software\\Halvorex\\QVK\\CurrentVersion]"));
        }
        EXPECT_FALSE(
            machine.registry.hasKey(View::Bits64, _T("HKCU\\User\\Software\\Halvorex\\Norv2D\\9")));
        EXPECT_TRUE(machine.volumes.exists(kMenu + _T("\\Norv\\Get Help.url")));
        EXPECT_EQ(logMessages(machine, "ERROR"), Strings());

        // Twice comes to the same as once.
        const auto after = machine.describe();
        EXPECT_EQ(update(machine, _T("ProductCode=") + runtime.code), 0u);
        EXPECT_EQ(machine.describe(), after);
    }
}

TEST(ProductUpdate, EndsBeforeAnyManagerWithoutItsProduct) {
    for (const tstring& data : {tstring(), _T("ProductCode=") + kNowhere,
                                tstring(_T("ProductCode=none")), tstring(_T("NO_SUCH_KEY=1"))}) {
        SCOPED_TRACE(toUtf8(data));
        Machine machine;
        prepare(machine);
        ::products::install(machine, ::products::qvr(_T("17")));
        const auto before = machine.describe();
        EXPECT_EQ(update(machine, data), 1627u);
        EXPECT_EQ(machine.describe(), before);
        const Strings errors = logMessages(machine, "ERROR");
        ASSERT_FALSE(errors.empty());
        EXPECT_EQ(
            errors.back().find("No matching Norv found for " + toUtf8(kNowhere) +
                               " Product Code in the given products range") != std::string::npos,
            data.ends_with(kNowhere));
        EXPECT_TRUE(machine.desktop.messageBoxes.empty());
    }
}

TEST(ProductUpdate, LivesWithProductsThatAreNotWhole) {
    Machine machine;
    prepare(machine);
    auto homeless = ::products::qvr(_T("1.9.0_10-b1"));
    homeless.info.erase(_T("InstallLocation"));
    homeless.hasVersionKey = homeless.hasFiles = false;
    auto far = ::products::qvk(_T("21"));
    far.hasFiles = false;
    far.info[_T("InstallLocation")] = _T("C:\\") + tstring(300, _T('x')) + _T("\\");
    const auto odd = ::products::qvr(_T("1.8.0_60-b2"));
    for (const auto& product : {homeless, far, odd}) {
        ::products::install(machine, product);
    }
    for (const TCHAR* name : {_T("NorvHome"), _T("RuntimeLib")}) {
        machine.registry.setNumber(View::Bits64, ::products::versionKey(odd), name, 1);
    }

    EXPECT_EQ(update(machine, _T("ProductCode=") + odd.code), 0u);
    const tstring legacy = kVendor + _T("\\Norv Runtime Environment");
    EXPECT_EQ(value(machine, View::Bits64, legacy, _T("CurrentVersion")), "1.9");
    EXPECT_EQ(machine.registry.valueNames(View::Bits64, legacy + _T("\\1.8")),
              std::vector<tstring>{_T("MicroVersion")});
    EXPECT_TRUE(machine.registry.valueNames(View::Bits64, legacy + _T("\\1.9")).empty());
    EXPECT_EQ(value(machine, View::Bits64,
                    _T("HKLM\\Software\\Classes\\vkrfile\\shell\\open\\command"), _T("")),
              "\"C:\\" + std::string(300, 'x') + "\\bin\\norvw.exe\" -vkr \"%1\" %*");
    EXPECT_FALSE(machine.registry.hasKey(View::Bits64, _T("HKLM\\Software\\Classes\\zpmfile")));
    EXPECT_TRUE(logMentions(machine, "for AssistLink, as C:\\xxx"));
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 2u)
        << "a home of another type, a version key that is missing";
}

}  // namespace
