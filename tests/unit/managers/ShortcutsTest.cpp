#include <algorithm>
#include <functional>

#include "unit/managers/Family.h"
#include "windows/installerdll/MenuTexts.h"
#include "windows/installerdll/NorvShortcuts.h"

using namespace family;

namespace {

const tstring kQvrFolder = kMenu + _T("\\Norv");
const tstring kQvkFolder = kMenu + _T("\\Norv Development Kit");
const char* const kLinks =
    "About Norv.lnk|Check For Updates.lnk|Configure Norv.lnk|Get Help.lnk|Visit norv.example.lnk";
const char* const kUrls =
    "About Norv.lnk|Check For Updates.lnk|Configure Norv.lnk|Get Help.url|Visit norv.example.url";
const char* const kDocsLink = "Reference Documentation.lnk";
const char* const kDocsUrl = "Reference Documentation.url";

TEST(NorvShortcuts, ServesTheLatestProductThatSupportsThem) {
    const std::string refusal = " doesn't support Start Menu shortcuts.";
    const std::string disabled =
        "Norv version=17" + refusal + " They are disabled with install configuration.";
    const struct {
        const char* listed;
        const TCHAR* without;      // a file that the first product lacks
        const TCHAR* noStartMenu;  // value of the version key of k64:17
        const TCHAR* config;
        const char* qvr;
        const char* qvk;
        std::string warning;
    } cases[] = {
        {"r64:1.7.0_39", nullptr, nullptr, nullptr, "", "",
         "Norv version=1.7.0_39" + refusal + " The minimal supported version is 1.7.0_40"},
        {"r64:1.7.0_40 k64:1.7.0_40", nullptr, nullptr, nullptr, kLinks, kDocsLink, ""},
        {"r64:1.8.0_51", nullptr, nullptr, nullptr, kLinks, "", ""},
        {"r64:1.8.0_60 r64:1.7.0_39 r32:1.8.0_51", nullptr, nullptr, nullptr, kUrls, "", ""},
        {"k64:1.8.0_60", _T("wmq.exe"), nullptr, nullptr, "", "",
         "Norv version=1.8.0_60" + refusal +
             " C:\\Norv\\k64-1.8.0_60\\bin\\wmq.exe not found. Probably this release doesn't "
             "include commercial features."},
        {"k64:11 r64:11", _T("wmq.exe"), nullptr, nullptr, kUrls, kDocsUrl, ""},
        {"r64:17 k64:17", nullptr, nullptr, _T("NOSTARTMENU=1"), "", kDocsUrl, disabled},
        {"r64:17 k64:17", nullptr, nullptr, _T("NOSTARTMENU=0"), kUrls, kDocsUrl, ""},
        {"r64:17 k64:17 k64:11", nullptr, _T("1"), nullptr, kUrls, "", disabled},
        {"k64:17", nullptr, _T("true"), nullptr, "", kDocsUrl, ""},
        {"k64:17", nullptr, _T("0"), nullptr, "", kDocsUrl, ""},
        {"-", nullptr, nullptr, nullptr, "old.lnk", "old.lnk", ""},
    };
    NorvShortcutsManager manager;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + " / " + c.warning);
        Family pc(c.listed);
        for (const tstring& folder : {kQvrFolder, kQvkFolder}) {
            pc.machine.volumes.addFile(folder + _T("\\old.lnk"));
        }
        if (c.without != nullptr) {
            pc.machine.volumes.remove(pc.listed[0].homeDir + _T("\\bin\\") + c.without);
        }
        if (c.noStartMenu != nullptr) {
            pc.machine.registry.setString(View::Bits64, kVendor + _T("\\QVK\\17\\MSI"),
                                          _T("NOSTARTMENU"), c.noStartMenu);
        }
        if (c.config != nullptr) {
            pc.config.LoadConfigSettings(c.config);
        }
        pc.handle(manager);
        EXPECT_EQ(pc.files(kQvrFolder), c.qvr);
        EXPECT_EQ(pc.files(kQvkFolder), c.qvk);
        EXPECT_EQ(logMessages(pc.machine, "WARNING"),
                  c.warning.empty() ? Strings() : Strings{c.warning});
        EXPECT_EQ(pc.machine.shell.comStarts(), 0);
    }
}

TEST(NorvShortcuts, LeadToTheProductAndItsSites) {
    Family pc("r32:17 r64:17 k32:21.0.12 k64:21.0.12");
    NorvShortcutsManager manager;
    pc.handle(manager);
    const tstring bin = _T("C:\\Norv\\r64-17\\bin\\");
    const tstring icon = bin + _T("norv.exe");
    const struct {
        tstring path;
        simulated::ShellLink link;
    } cases[] = {
        {kQvrFolder + _T("\\Visit norv.example.url"),
         {true, _T("http://www.norv.example/"), _T(""), _T("Learn more about Norv."), icon}},
        {kQvrFolder + _T("\\Get Help.url"),
         {true, _T("http://www.norv.example/help"), _T(""),
          _T("Find solutions to issues related to installing and running Norv."), icon}},
        {kQvrFolder + _T("\\Configure Norv.lnk"),
         {false, bin + _T("norvcpl.exe"), _T(""), _T("View or change Norv settings."), icon}},
        {kQvrFolder + _T("\\Check For Updates.lnk"),
         {false, bin + _T("norvcpl.exe"), _T("-tab update"),
          _T("See if new Norv updates are available."), icon}},
        {kQvrFolder + _T("\\About Norv.lnk"),
         {false, bin + _T("norvcpl.exe"), _T("-tab about"), _T("View Norv version information."),
          icon}},
        {kQvkFolder + _T("\\Reference Documentation.url"),
         {true, _T("http://docs.norv.example/norvse/21/index.html"), _T(""),
          _T("View developer resources including online API documentation."),
          _T("C:\\Norv\\k64-21.0.12\\bin\\norv.exe")}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(pc.machine.shell.link(c.path), c.link) << toUtf8(c.path);
    }

    for (const auto& [kit, file, address] : {std::tuple{"k64:9", kDocsUrl, "9/index.html"},
                                             {"k64:1.8.0_60", kDocsUrl, "8/docs"},
                                             {"k64:1.7.0_80", kDocsLink, "7/docs"}}) {
        Family other(kit);
        other.handle(manager);
        const auto link = other.machine.shell.link(kQvkFolder + _T("\\") + fromUtf8(file));
        ASSERT_TRUE(link && link->internet) << kit;
        EXPECT_EQ(toUtf8(link->target), std::string("http://docs.norv.example/norvse/") + address);
    }
}

TEST(NorvShortcuts, SpeakTheUsersLanguage) {
    const struct {
        std::vector<tstring> languages;
        const char* docs;
        const char* site;
    } cases[] = {
        {{_T("0411"), _T("0011")}, "参照ドキュメント.url", "norv.exampleにアクセスします.url"},
        {{_T("0804")}, "参考文档.url", "访问 norv.example.url"},
        {{_T("040C"), _T("000C")}, "Reference Documentation.url", "Visit norv.example.url"},
        // German is spoken, but not offered.
        {{_T("0407"), _T("0007")}, "Reference Documentation.url", "Visit norv.example.url"},
    };
    Family pc("k64:17 r64:17");
    NorvShortcutsManager manager;
    for (const auto& c : cases) {
        pc.machine.facts.uiLanguages = c.languages;
        pc.handle(manager);
        EXPECT_EQ(pc.files(kQvkFolder), c.docs) << "and nothing of another language";
        EXPECT_TRUE(pc.machine.volumes.exists(kQvrFolder + _T("\\") + fromUtf8(c.site)));
        EXPECT_EQ(std::ranges::count(pc.files(kQvrFolder), '|'), 4);
    }
    const Locale german(&Locale::german);
    EXPECT_EQ(toUtf8(getText(menu_texts::visitSite, german)), "Besuchen Sie norv.example");
    EXPECT_EQ(toUtf8(getText(menu_texts::checkForUpdates, german)), "Auf Updates prüfen");
    EXPECT_EQ(toUtf8(getText(menu_texts::about, Locale(nullptr))), "About Norv");
}

TEST(NorvShortcuts, MeetFoldersAsUsersLeaveThem) {
    const struct {
        const char* what;
        std::function<void(simulated::Machine&)> arrange;
        bool throws;
        std::string qvr;
        std::string qvk;
    } cases[] = {
        {"files of the user's go, subfolders stay",
         [](simulated::Machine& machine) {
             machine.volumes.addFile(kQvrFolder + _T("\\My own.lnk"));
             machine.volumes.addFile(kQvrFolder + _T("\\Old.url"));
             machine.volumes.setReadOnly(kQvrFolder + _T("\\Old.url"));
             machine.volumes.addFile(kQvrFolder + _T("\\Mine\\Kept.lnk"));
         },
         false, kUrls, kDocsUrl},
        {"a file in use stays",
         [](simulated::Machine& machine) {
             machine.volumes.addFile(kQvkFolder + _T("\\Busy.lnk"));
             machine.volumes.lock(kQvkFolder + _T("\\Busy.lnk"));
         },
         false, kUrls, std::string("Busy.lnk|") + kDocsUrl},
        {"the folder is a file",
         [](simulated::Machine& machine) { machine.volumes.addFile(kQvrFolder); }, true, "", ""},
        {"nothing can be written into the folder",
         [](simulated::Machine& machine) {
             machine.volumes.addDirectory(kQvrFolder);
             machine.volumes.denyWrite(kQvrFolder);
         },
         false, "", kDocsUrl},
        {"no programs folder", [](simulated::Machine& machine) { machine.volumes.remove(kMenu); },
         true, "", ""},
        {"one shortcut can't be saved",
         [](simulated::Machine& machine) { machine.calls.failCall("IPersistFile::Save", 2); },
         false, "About Norv.lnk|Check For Updates.lnk|Configure Norv.lnk|Visit norv.example.url",
         kDocsUrl},
        {"COM doesn't start",
         [](simulated::Machine& machine) { machine.calls.failAll("CoInitialize"); }, false, "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Family pc("r64:17 k64:17");
        c.arrange(pc.machine);
        NorvShortcutsManager manager;
        if (c.throws) {
            EXPECT_ANY_THROW(pc.handle(manager));
        } else {
            pc.handle(manager);
        }
        pc.machine.calls.clearPlans();
        EXPECT_EQ(pc.files(kQvrFolder), c.qvr);
        EXPECT_EQ(pc.files(kQvkFolder), c.qvk);
        EXPECT_TRUE(pc.machine.shell.openObjects().empty());
    }
}

}  // namespace
