#include "support/LogReader.h"
#include "unit/managers/Family.h"
#include "windows/installerdll/AssistLink.h"

using namespace family;

namespace {

const tstring kAts =
    _T("HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Accessibility\\ATs\\")
    _T("Dovrin_NorvAssistLink");
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
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + c.withoutSwitch);
        Family pc;
        auto& volumes = pc.machine.volumes;
        for (const tstring& path : {kLibrary64, kLibrary32, kStray64, kStray32}) {
            volumes.addFile(path, "old");
        }
        pc.machine.registry.setString(View::Bits64, kAts + _T("\\Deep"), _T("old"), _T("value"));
        for (const InstalledNorv& one : products(c.listed)) {
            pc.put(name(one));
        }
        if (*c.withoutSwitch != '\0') {
            volumes.remove(fromUtf8(c.withoutSwitch));
        }
        AssistLinkManager manager;
        pc.handle(manager);
        const auto library = [&](const tstring& path) {
            const std::string content = volumes.content(path).value_or("");
            return content.starts_with("of ") ? content.substr(3) : content;
        };
        EXPECT_EQ(library(kLibrary64), c.library64);
        EXPECT_EQ(library(kLibrary32), c.library32);
        EXPECT_EQ(library(kStray64) + library(kStray32), "");
        EXPECT_FALSE(pc.machine.registry.hasKey(View::Bits64, kAts + _T("\\Deep")));
        EXPECT_EQ(pc.value(kAts, _T("StartExe")),
                  *c.main == '\0' ? "(none)"
                                  : std::string("C:\\Norv\\") + c.main + "\\bin\\alinkswitch.exe");
        EXPECT_EQ(logMessages(pc.machine, "WARNING"), *c.warning == '\0'
                                                          ? std::vector<std::string>()
                                                          : std::vector<std::string>{c.warning});
    }
}

TEST(AssistLink, RegistersInTheUsersLanguage) {
    Family pc;
    pc.machine.facts.uiLanguages = {_T("0411"), _T("0011")};
    pc.put("r64:17");
    AssistLinkManager manager;
    pc.handle(manager);
    EXPECT_EQ(pc.value(kAts, _T("ApplicationName")), "Norv Assist Linkを有効にする");
    EXPECT_NE(pc.value(kAts, _T("Description")).find("%NORV_HOME%\\bin\\alinkswitch -disableを"),
              std::string::npos);
    EXPECT_EQ(pc.value(kAts, _T("Profile")),
              "<HCIModel><Accommodation type=\"mild vision\"/><Accommodation type=\"severe "
              "vision\"/><Accommodation type=\"mild cognitive\"/><Accommodation type=\"severe "
              "cognitive\"/></HCIModel>");
    EXPECT_EQ(pc.value(kAts, _T("SimpleProfile")), "screenreader");
    EXPECT_EQ(pc.value(kAts, _T("StartParams")), "-enable");
    EXPECT_EQ(pc.machine.registry.valueNames(View::Bits64, kAts).size(), 6u);
}

TEST(AssistLink, ReplacesLibrariesInUseAtTheNextRestart) {
    for (const bool staysInstalled : {true, false}) {
        Family pc;
        auto& volumes = pc.machine.volumes;
        AssistLinkManager manager;
        pc.put("r64:17");
        pc.handle(manager);
        ASSERT_EQ(volumes.content(kLibrary64), "of r64:17");
        volumes.lockAsProgram(kLibrary64);
        pc.drop("r64:17");
        if (staysInstalled) {
            pc.put("r64:21");
        }
        pc.handle(manager);
        EXPECT_EQ(volumes.content(kLibrary64), "of r64:17") << "in use";
        EXPECT_EQ(pc.value(kAts, _T("StartExe")),
                  staysInstalled ? "C:\\Norv\\r64-21\\bin\\alinkswitch.exe" : "(none)");
        pc.machine.restart();
        EXPECT_EQ(volumes.content(kLibrary64).value_or("gone"),
                  staysInstalled ? "of r64:21" : "gone");
        EXPECT_TRUE(volumes.delayedMoves().empty());
        // The copy that waited beside the source is gone.
        EXPECT_EQ(pc.files(_T("C:\\Norv\\r64-21\\bin")).find("WindowsAssistLink-64") !=
                      pc.files(_T("C:\\Norv\\r64-21\\bin")).rfind("WindowsAssistLink-64"),
                  false);
    }
}

TEST(AssistLink, RegistersNothingWithoutItsLibrary) {
    Family pc;
    pc.put("r64:17");
    pc.machine.volumes.remove(_T("C:\\Norv\\r64-17\\bin\\WindowsAssistLink-64.dll"));
    AssistLinkManager manager;
    EXPECT_THROW(pc.handle(manager), std::runtime_error);
    EXPECT_FALSE(pc.machine.registry.hasKey(View::Bits64, kAts));

    // A registration that breaks off is taken up from the start.
    pc.put("r64:21");
    pc.machine.calls.failCall("RegSetValueExW", 3, ERROR_ACCESS_DENIED);
    EXPECT_THROW(pc.handle(manager), SysError);
    EXPECT_EQ(pc.machine.registry.valueNames(View::Bits64, kAts).size(), 2u);
    pc.handle(manager);
    EXPECT_EQ(pc.machine.registry.valueNames(View::Bits64, kAts).size(), 6u);
}

}  // namespace
