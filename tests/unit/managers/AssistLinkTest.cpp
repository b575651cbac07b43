#include "unit/managers/Family.h"
#include "windows/installerdll/AssistLink.h"
#include "windows/installerdll/MenuTexts.h"

using namespace family;

namespace {

const tstring kEntry = kAts + _T("\\Dovrin_NorvAssistLink");
const tstring kLibrary64 = _T("C:\\Windows\\System32\\WindowsAssistLink-64.dll");
const tstring kLibrary32 = _T("C:\\Windows\\SysWOW64\\WindowsAssistLink-32.dll");
const tstring kStray64 = _T("C:\\Windows\\SysWOW64\\WindowsAssistLink-64.dll");
const tstring kStray32 = _T("C:\\Windows\\System32\\WindowsAssistLink-32.dll");

TEST(AssistLink, ServesByTheBestProducts) {
    const char* const tooOld =
        "Norv version=1.7.0_05 doesn't support Assist Link. The minimal supported version is "
        "1.7.0_06";
    const struct {
        const char* listed;
        const char* main;  // the registered product
        Strings content;   // of the libraries in the system directories
        Strings warnings;
        const TCHAR* without = _T("wmq.exe");
        bool throws = false;
    } cases[] = {
        {"k64:1.8.0_60 k32:9", "", {"", ""}, {}},
        {"r64:1.8.0_60 k64:11", "k64-11", {"k64:11", ""}, {}},
        {"r64:1.7.0_06", "r64-1.7.0_06", {"r64:1.7.0_06", ""}, {}},
        {"r64:1.7.0_05", "", {"", ""}, {tooOld}},
        {"r64:11 k32:17", "k32-17", {"r64:11", "k32:17"}, {}},
        {"r64:17 r32:17 k64:17 k32:17", "r64-17", {"r64:17", "r32:17"}, {}},
        {"r64:17 k64:21 k64:9 r32:1.7.0_05", "k64-21", {"k64:21", ""}, {tooOld}},
        {"r64:17 r32:11",
         "r64-17",
         {"", "r32:11"},
         {"Not registering Norv=17 for AssistLink, as C:\\Norv\\r64-17\\bin\\alinkswitch.exe "
          "doesn't exist."},
         _T("alinkswitch.exe")},
        {"r64:17", "", {"", ""}, {}, _T("WindowsAssistLink-64.dll"), true},
    };
    AssistLinkManager manager;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + toUtf8(c.without));
        Family pc(c.listed);
        auto& volumes = pc.machine.volumes;
        for (const tstring& path : {kLibrary64, kLibrary32, kStray64, kStray32}) {
            volumes.addFile(path, "old");
        }
        pc.machine.registry.createKey(View::Bits64, kEntry + _T("\\Deep"));
        volumes.remove(pc.listed[0].homeDir + _T("\\bin\\") + c.without);
        if (c.throws) {
            EXPECT_THROW(pc.handle(manager), std::runtime_error);
        } else {
            pc.handle(manager);
        }
        EXPECT_EQ((Strings{volumes.content(kLibrary64).value_or(""),
                           volumes.content(kLibrary32).value_or("")}),
                  c.content);
        EXPECT_FALSE(volumes.exists(kStray64) || volumes.exists(kStray32));
        EXPECT_EQ(pc.tree(kEntry), *c.main == '\0' ? "gone" : "");
        EXPECT_EQ(pc.value(kEntry, _T("StartExe")),
                  *c.main == '\0' ? "(none)"
                                  : std::string("C:\\Norv\\") + c.main + "\\bin\\alinkswitch.exe");
        EXPECT_EQ(logMessages(pc.machine, "WARNING"), c.warnings);
    }
}

TEST(AssistLink, RegistersInTheUsersLanguage) {
    Family pc("r64:17");
    pc.machine.facts.uiLanguages = {_T("0411"), _T("0011")};
    AssistLinkManager manager;
    pc.handle(manager);
    EXPECT_EQ(
        pc.values(kEntry),
        "StartExe=C:\\Norv\\r64-17\\bin\\alinkswitch.exe|ApplicationName=Norv Assist "
        "Linkを有効にする|"
        "Description=" +
            toUtf8(getText(menu_texts::assistLinkHint, Locale())) +
            "|Profile=<HCIModel><Accommodation type=\"mild vision\"/><Accommodation type=\"severe "
            "vision\"/><Accommodation type=\"mild cognitive\"/><Accommodation type=\"severe "
            "cognitive\"/></HCIModel>|SimpleProfile=screenreader|StartParams=-enable");
}

}  // namespace
