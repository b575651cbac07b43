// Which of the products serve: those of the file associations, the Start menu and the Assist Link.
#include "unit/managers/Family.h"
#include "windows/installerdll/AssistLink.h"
#include "windows/installerdll/NorvShortcuts.h"
#include "windows/installerdll/RegistryUtils.h"

using namespace family;

namespace {

const tstring kQvrFolder = kMenu + u"\\Norv";
const tstring kQvkFolder = kMenu + u"\\Norv Development Kit";
const tstring kEntry = kAts + u"\\Dovrin_NorvAssistLink";

const std::pair<std::string, tstring> kLibraries[] = {
    {"64 ", u"C:\\Windows\\System32\\WindowsAssistLink-64.dll"},
    {"32 ", u"C:\\Windows\\SysWOW64\\WindowsAssistLink-32.dll"},
    {"stray ", u"C:\\Windows\\System32\\WindowsAssistLink-32.dll"},
    {"stray ", u"C:\\Windows\\SysWOW64\\WindowsAssistLink-64.dll"}};

void handleAll(Family& pc) {
    pc.handle(RegistryManager());
    pc.handle(NorvShortcutsManager());
    pc.handle(AssistLinkManager());
}

/// "vkr r64-17, zpm k64-17, <menu>, docs.url 17/index.html, link r64-17, 64 of 17", as far as there
/// are such, and what was warned of.
std::string outcome(const Family& pc) {
    std::string result;
    const auto addValue = [&](const std::string& what, const tstring& key, const TCHAR* name) {
        // Between "C:\" and "\bin".
        const std::string text = pc.value(key, name);
        const auto from = text.find("C:\\") + 3;
        result +=
            text == "none" ? "" : what + text.substr(from, text.find('\\', from) - from) + ", ";
    };
    addValue("vkr ", kClasses + u"\\vkrfile\\shell\\open\\command", u"");
    addValue("zpm ", kClasses + u"\\zpmfile\\shell\\open\\command", u"");
    result += pc.files(kQvrFolder) + ", ";
    for (const tstring& file : pc.machine.volumes.files(kQvkFolder)) {
        const auto link = pc.machine.shell.link(file);
        result += "docs" + toUtf8(file.substr(file.size() - 4)) + " " +
                  (link ? toUtf8(link->target.substr(32)) : "") + ", ";
    }
    addValue("link ", kEntry, u"StartExe");
    for (const auto& [name, path] : kLibraries) {
        const auto content = pc.machine.volumes.content(path);
        result += content ? name + *content + ", " : "";
    }
    for (const std::string& warning : logMessages(pc.machine, "WARNING")) {
        result += warning;
    }
    return result;
}

TEST(Serving, IsDoneByTheBestProducts) {
    const std::string noMenu = " doesn't support Start Menu shortcuts. ";
    const std::string menuFrom = noMenu + "The minimal supported version is 1.7.0_40";
    const std::string disabled =
        "Norv version=17" + noMenu + "They are disabled with install configuration.";
    const std::string linkFrom =
        " doesn't support Assist Link. The minimal supported version is 1.7.0_06";
    const std::string lnk = "About Norv.lnk|Check For Updates.lnk|Configure Norv.lnk|Get Help.";
    const std::string links = lnk + "lnk|Visit norv.example.lnk, ";
    const std::string urls = lnk + "url|Visit norv.example.url, ";
    const struct {
        const char* listed;
        std::string outcome;
        const TCHAR* without = nullptr;
        const TCHAR* config = u"";
        const TCHAR* noStartMenu = u"";  // value of the version key of k64:17
    } cases[] = {
        {"r64:1.7.0_05", "vkr r64-1.7.0_05, , Norv version=1.7.0_05" + menuFrom +
                             "Norv version=1.7.0_05" + linkFrom},
        {"r64:1.7.0_06",
         "vkr r64-1.7.0_06, , link r64-1.7.0_06, 64 of 1.7.0_06, Norv version=1.7.0_06" + menuFrom},
        {"r64:1.7.0_39",
         "vkr r64-1.7.0_39, , link r64-1.7.0_39, 64 of 1.7.0_39, Norv version=1.7.0_39" + menuFrom},
        {"r64:1.7.0_40 k64:1.7.0_40", "vkr r64-1.7.0_40, zpm k64-1.7.0_40, " + links +
                                          "docs.lnk 7/docs, link r64-1.7.0_40, 64 of 1.7.0_40, "},
        {"r64:1.8.0_59", "vkr r64-1.8.0_59, " + links + "link r64-1.8.0_59, 64 of 1.8.0_59, "},
        {"r64:1.8.0_60 r32:1.8.0_51 k64:11 k32:1.8.0-b1",
         "vkr k64-11, zpm k64-11, " + urls +
             "docs.url 11/index.html, link k64-11, 64 of 11, 32 of 1.8.0_51, "},
        {"k64:9 k32:1.8.0-b1", "vkr k64-9, zpm k64-9, , docs.url 9/index.html, "},
        {"k64:1.8.0_60", "vkr k64-1.8.0_60, zpm k64-1.8.0_60, , docs.url 8/docs, "},
        {"k64:10",
         "vkr k64-10, , Norv version=10" + noMenu +
             "C:\\k64-10\\bin\\wmq.exe not found. Probably this release doesn't include "
             "commercial features.",
         u"wmq.exe"},
        {"k64:11", "vkr k64-11, , docs.url 11/index.html, link k64-11, 64 of 11, ", u"wmq.exe"},
        {"r64:11 k32:17", "vkr k32-17, zpm k32-17, " + urls +
                              "docs.url 17/index.html, link k32-17, 64 of 11, 32 of 17, "},
        {"r32:17 k64:17",
         "vkr r32-17, zpm k64-17, " + urls + "link r32-17, 64 of 17, 32 of 17, " + disabled,
         nullptr, u"", u"1"},
        {"r64:17 r32:17 k64:17 k32:17",
         "vkr r64-17, zpm k64-17, , docs.url 17/index.html, link r64-17, 64 of 17, 32 of 17, " +
             disabled,
         nullptr, u"NOSTARTMENU=1", u"true"},
        {"r64:17 k64:21 k64:9 r32:1.7.0_05",
         "vkr k64-21, zpm k64-21, " + urls +
             "docs.url 21/index.html, link k64-21, 64 of 21, Norv version=1.7.0_05" + linkFrom},
        {"r64:17 r32:1.8.0_60",
         "vkr r64-17, " + urls +
             "link r64-17, 32 of 1.8.0_60, Not registering Norv=17 for AssistLink, as "
             "C:\\r64-17\\bin\\alinkswitch.exe doesn't exist.",
         u"alinkswitch.exe"},
        {"r64:17", "vkr r64-17, " + urls, u"WindowsAssistLink-64.dll"},
        {"", "old, docs\\old , "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        Family pc(c.listed);
        pc.machine.volumes.addFile(kQvrFolder + u"\\old");
        pc.machine.volumes.addFile(kQvkFolder + u"\\old");
        for (const auto& [name, path] : kLibraries) {
            pc.machine.volumes.addFile(path, "old");
        }
        pc.machine.registry.createKey(View::Bits64, kEntry + u"\\Deep");
        pc.machine.registry.setString(View::Bits64, kVendor + u"\\QVK\\17\\MSI", u"NOSTARTMENU",
                                      c.noStartMenu);
        if (c.without != nullptr) {
            pc.machine.volumes.remove(pc.listed.back().homeDir + u"\\bin\\" + c.without);
        }
        pc.config.LoadConfigSettings(c.config);
        handleAll(pc);
        EXPECT_EQ(outcome(pc), c.outcome);
        EXPECT_EQ(pc.machine.registry.hasKey(View::Bits64, kEntry),
                  c.outcome.find("link ") != std::string::npos);
        EXPECT_FALSE(pc.machine.registry.hasKey(View::Bits64, kEntry + u"\\Deep"));
    }
}

TEST(Serving, TellsTheUserInHisLanguage) {
    Family pc("r64:17 k64:17");
    for (const TCHAR* key :
         {u"\\.vkr", u"\\vkrfile", u"\\zpmfile\\shell\\edit", u"\\Applications\\norv.exe"}) {
        pc.machine.registry.setString(View::Bits64, kClasses + key, u"own", u"x");
    }
    auto& volumes = pc.machine.volumes;
    volumes.addFile(kQvrFolder + u"\\Old.url");
    volumes.setReadOnly(kQvrFolder + u"\\Old.url");
    volumes.addFile(kQvrFolder + u"\\Mine\\Kept.lnk");
    volumes.addFile(kQvkFolder + u"\\Busy.lnk");
    volumes.lock(kQvkFolder + u"\\Busy.lnk");
    pc.machine.calls.failCall("IPersistFile::Save", 2);
    handleAll(pc);
    std::string links;
    for (const tstring& file : volumes.files(kMenu)) {
        const auto link = pc.machine.shell.link(file).value_or(simulated::ShellLink());
        links +=
            toUtf8(file.substr(kMenu.size()) + (link.internet ? u" > " : u" - ") + link.target +
                   u" " + link.arguments + u" - " + link.description + u" - " + link.icon + u"\n");
    }
    const std::string panel = " - C:\\r64-17\\bin\\norvcpl.exe ";
    const std::string icon = " - C:\\r64-17\\bin\\norv.exe\n";
    EXPECT_EQ(
        links,
        "\\Norv\\About Norv.lnk" + panel + "-tab about - View Norv version information." + icon +
            "\\Norv\\Check For Updates.lnk" + panel +
            "-tab update - See if new Norv updates are available." + icon +
            "\\Norv\\Configure Norv.lnk" + panel + " - View or change Norv settings." + icon +
            "\\Norv\\Mine\\Kept.lnk -   -  - \n\\Norv\\Visit norv.example.url > "
            "http://www.norv.example/  - Learn more about Norv." +
            icon +
            "\\Norv Development Kit\\Busy.lnk -   -  - \n\\Norv Development Kit\\Reference "
            "Documentation.url > http://docs.norv.example/norvse/17/index.html  - View developer "
            "resources including online API documentation. - C:\\k64-17\\bin\\norv.exe\n");
    pc.handle(NorvShortcutsManager());
    const auto help = pc.machine.shell.link(kQvrFolder + u"\\Get Help.url").value();
    EXPECT_EQ(toUtf8(help.target + u" " + help.description),
              "http://www.norv.example/help Find solutions to issues related to installing and "
              "running Norv.");
    EXPECT_EQ(pc.tree(kClasses),
              "{.vkr[own=x|=vkrfile] .zpm[=zpmfile] Applications{norv.exe[own=x|IsHostApp=] "
              "norvw.exe[IsHostApp=]} CLSID vkrfile[own=x|=Executable Vkr "
              "File]{shell{open{command[=\"C:\\r64-17\\bin\\norvw.exe\" -vkr \"%1\" %*]}}} "
              "Wow6432Node{CLSID} zpmfile[=Norv Zepmark File]{shell{edit[own=x] "
              "open{command[=\"C:\\k64-17\\bin\\wmq.exe\" -open \"%1\" %*]}}}}");
    EXPECT_EQ(pc.value(kEntry, u"ApplicationName"), "Enable Norv Assist Link");
    pc.machine.facts.uiLanguages = {u"0411", u"0011"};
    pc.handle(AssistLinkManager());
    EXPECT_EQ(pc.tree(kEntry),
              "[StartExe=C:\\r64-17\\bin\\alinkswitch.exe|ApplicationName=Norv Assist "
              "Linkを有効にする|Description="
              "Norvアプリケーションに対するアシスティブ・テクノロジ・アクセスを提供するドブリン社の"
              "Norv Assist Link。ノート: Norv Assist "
              "Linkは、このチェック・ボックスをクリアしても無効にはできません。無効にする場合は、コ"
              "マンド・プロンプトから%NORV_HOME%\\bin\\alinkswitch "
              "-disableを実行してください。|Profile=<HCIModel><Accommodation type=\"mild "
              "vision\"/><Accommodation type=\"severe vision\"/><Accommodation type=\"mild "
              "cognitive\"/><Accommodation type=\"severe "
              "cognitive\"/></HCIModel>|SimpleProfile=screenreader|StartParams=-enable]");
    pc.listed.clear();
    EXPECT_TRUE(pc.update());
    pc.machine.restart();
    EXPECT_TRUE(volumes.exists(kQvkFolder + u"\\Busy.lnk")) << "not even at the restart";
    volumes.unlock(kQvkFolder + u"\\Busy.lnk");
    EXPECT_TRUE(pc.update());
    EXPECT_EQ(pc.tree(kClasses) + pc.tree(kEntry) + pc.files(kMenu),
              "{Applications CLSID Wow6432Node{CLSID}}gone");
}

}  // namespace
