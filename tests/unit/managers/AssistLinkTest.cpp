#include <algorithm>

#include "unit/managers/Family.h"
#include "windows/installerdll/AssistLink.h"

using namespace family;

namespace {

const tstring kEntry = kAts + _T("\\Dovrin_NorvAssistLink");
const tstring kLibrary64 = _T("C:\\Windows\\System32\\WindowsAssistLink-64.dll");
const tstring kLibrary32 = _T("C:\\Windows\\SysWOW64\\WindowsAssistLink-32.dll");
const tstring kStray64 = _T("C:\\Windows\\SysWOW64\\WindowsAssistLink-64.dll");
const tstring kStray32 = _T("C:\\Windows\\System32\\WindowsAssistLink-32.dll");

TEST(AssistLink, ServesByTheBestProducts) {
    const struct {
        const char* listed;
        const char* main;       // the registered product
        const char* library64;  // whose libraries lie in the system directories
        const char* library32;
        const char* warning;
        const char* withoutSwitch = "";
    } cases[] = {
        {"-", "", "", "", ""},
        {"r64:1.8.0_60 k64:11", "k64-11", "k64:11", "", ""},
        {"r64:1.8.0_60 k64:1.8.0_60", "r64-1.8.0_60", "r64:1.8.0_60", "", ""},
        {"k64:1.8.0_60 k32:9", "", "", "", ""},
        {"r64:1.7.0_06", "r64-1.7.0_06", "r64:1.7.0_06", "", ""},
        {"r64:1.7.0_05", "", "", "",
         "Norv version=1.7.0_05 doesn't support Assist Link. The minimal supported version is "
         "1.7.0_06"},
        {"r64:11 k32:17", "k32-17", "r64:11", "k32:17", ""},
        {"r64:17 r32:17 k64:17 k32:17", "r64-17", "r64:17", "r32:17", ""},
        {"r64:17 k64:21 k64:9 r32:1.7.0_05", "k64-21", "k64:21", "",
         "Norv version=1.7.0_05 doesn't support Assist Link. The minimal supported version is "
         "1.7.0_06"},
        {"r64:17 r32:11", "r64-17", "", "r32:11",
         "Not registering Norv=17 for AssistLink, as C:\\Norv\\r64-17\\bin\\alinkswitch.exe "
         "doesn't exist.",
         "C:\\Norv\\r64-17\\bin\\alinkswitch.exe"},
    };
    AssistLinkManager manager;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + c.withoutSwitch);
        Family pc(c.listed);
        auto& volumes = pc.machine.volumes;
        for (const tstring& path : {kLibrary64, kLibrary32, kStray64, kStray32}) {
            volumes.addFile(path, "old");
        }
        pc.machine.registry.createKey(View::Bits64, kEntry + _T("\\Deep"));
        if (*c.withoutSwitch != '\0') {
            volumes.remove(fromUtf8(c.withoutSwitch));
        }
        pc.handle(manager);
        EXPECT_EQ(volumes.content(kLibrary64).value_or(""), c.library64);
        EXPECT_EQ(volumes.content(kLibrary32).value_or(""), c.library32);
        EXPECT_FALSE(volumes.exists(kStray64) || volumes.exists(kStray32));
        EXPECT_EQ(pc.tree(kEntry), *c.main == '\0' ? "gone" : "");
        EXPECT_EQ(pc.value(kEntry, _T("StartExe")),
                  *c.main == '\0' ? "(none)"
                                  : std::string("C:\\Norv\\") + c.main + "\\bin\\alinkswitch.exe");
        EXPECT_EQ(logMessages(pc.machine, "WARNING"),
                  *c.warning == '\0' ? Strings() : Strings{c.warning});
    }
}

TEST(AssistLink, RegistersInTheUsersLanguage) {
    Family pc("r64:17");
    pc.machine.facts.uiLanguages = {_T("0411"), _T("0011")};
    AssistLinkManager manager;
    pc.handle(manager);
    EXPECT_EQ(pc.value(kEntry, _T("ApplicationName")), "Norv Assist Linkを有効にする");
    EXPECT_NE(pc.value(kEntry, _T("Description")).find("%NORV_HOME%\\bin\\alinkswitch -disableを"),
              std::string::npos);
    EXPECT_EQ(pc.value(kEntry, _T("Profile")),
              "<HCIModel><Accommodation type=\"mild vision\"/><Accommodation type=\"severe "
              "vision\"/><Accommodation type=\"mild cognitive\"/><Accommodation type=\"severe "
              "cognitive\"/></HCIModel>");
    EXPECT_EQ(pc.value(kEntry, _T("SimpleProfile")), "screenreader");
    EXPECT_EQ(pc.value(kEntry, _T("StartParams")), "-enable");
    EXPECT_EQ(pc.machine.registry.valueNames(View::Bits64, kEntry).size(), 6u);
}

TEST(AssistLink, ReplacesLibrariesInUseAtTheNextRestart) {
    for (const bool staysInstalled : {true, false}) {
        Family pc("r64:17");
        auto& volumes = pc.machine.volumes;
        AssistLinkManager manager;
        pc.handle(manager);
        volumes.lockAsProgram(kLibrary64);
        pc.listed.clear();
        if (staysInstalled) {
            pc.put("r64:21");
        }
        pc.handle(manager);
        EXPECT_EQ(volumes.content(kLibrary64), "r64:17") << "in use";
        EXPECT_EQ(pc.tree(kEntry), staysInstalled ? "" : "gone");
        EXPECT_EQ(volumes.delayedMoves().size(), staysInstalled ? 2u : 1u);
        pc.machine.restart();
        EXPECT_EQ(volumes.content(kLibrary64).value_or("gone"), staysInstalled ? "r64:21" : "gone");
        // The copy that waited beside the source has been moved.
        EXPECT_EQ(std::ranges::count(pc.files(_T("C:\\Norv\\r64-21\\bin")), '|'),
                  staysInstalled ? 5 : 0);
    }
}

TEST(AssistLink, RegistersNothingWithoutItsLibrary) {
    Family pc("r64:17");
    pc.machine.volumes.remove(_T("C:\\Norv\\r64-17\\bin\\WindowsAssistLink-64.dll"));
    AssistLinkManager manager;
    EXPECT_THROW(pc.handle(manager), std::runtime_error);
    EXPECT_EQ(pc.tree(kEntry), "gone");

    // A registration that breaks off is taken up from the start.
    pc.put("r64:21");
    pc.machine.calls.failCall("RegSetValueExW", 3, ERROR_ACCESS_DENIED);
    EXPECT_THROW(pc.handle(manager), SysError);
    EXPECT_EQ(pc.machine.registry.valueNames(View::Bits64, kEntry).size(), 2u);
    pc.handle(manager);
    EXPECT_EQ(pc.machine.registry.valueNames(View::Bits64, kEntry).size(), 6u);
}

}  // namespace
