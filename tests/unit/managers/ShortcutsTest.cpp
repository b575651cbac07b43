#include "unit/managers/Family.h"
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
        const char* qvr;
        const char* qvk;
        std::string warning;
        const TCHAR* config = _T("");
        const TCHAR* noStartMenu = _T("");  // value of the version key of k64:17
        bool hasTool = true;
    } cases[] = {
        {"r64:1.7.0_39", "", "",
         "Norv version=1.7.0_39" + refusal + " The minimal supported version is 1.7.0_40"},
        {"r64:1.7.0_40 k64:1.7.0_40", kLinks, kDocsLink, ""},
        {"r64:1.8.0_51", kLinks, "", ""},
        {"r64:1.8.0_60 r64:1.7.0_39 r32:1.8.0_51", kUrls, "", ""},
        {"k64:1.8.0_60", "", "",
         "Norv version=1.8.0_60" + refusal +
             " C:\\Norv\\k64-1.8.0_60\\bin\\wmq.exe not found. Probably this release doesn't "
             "include commercial features.",
         _T(""), _T(""), false},
        {"k64:11", "", kDocsUrl, "", _T(""), _T(""), false},
        {"r64:17 k64:17", "", kDocsUrl, disabled, _T("NOSTARTMENU=1")},
        {"r64:17 k64:17 k64:11", kUrls, "", disabled, _T(""), _T("1")},
        {"k64:17", "", kDocsUrl, "", _T(""), _T("true")},
        {"-", "old.lnk", "old.lnk", ""},
    };
    NorvShortcutsManager manager;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + " / " + c.warning);
        Family pc(c.listed);
        pc.machine.volumes.addFile(kQvrFolder + _T("\\old.lnk"));
        pc.machine.volumes.addFile(kQvkFolder + _T("\\old.lnk"));
        if (!c.hasTool) {
            pc.machine.volumes.remove(pc.listed[0].homeDir + _T("\\bin\\wmq.exe"));
        }
        pc.machine.registry.setString(View::Bits64, kVendor + _T("\\QVK\\17\\MSI"),
                                      _T("NOSTARTMENU"), c.noStartMenu);
        pc.config.LoadConfigSettings(c.config);
        pc.handle(manager);
        EXPECT_EQ(pc.files(kQvrFolder), c.qvr);
        EXPECT_EQ(pc.files(kQvkFolder), c.qvk);
        EXPECT_EQ(logMessages(pc.machine, "WARNING"),
                  c.warning.empty() ? Strings() : Strings{c.warning});
    }
}

TEST(NorvShortcuts, LeadToTheProductAndItsSites) {
    const std::string site = "http://www.norv.example/";
    const std::string docs = "http://docs.norv.example/norvse/";
    const char* const docsHint = "View developer resources including online API documentation.";
    const std::string panel = "C:\\Norv\\r64-17\\bin\\norvcpl.exe";
    const struct {
        const char* product;
        std::string file, target, arguments, description;
    } cases[] = {
        {"r64:17", "Visit norv.example.url", site, "", "Learn more about Norv."},
        {"r64:17", "Get Help.url", site + "help", "",
         "Find solutions to issues related to installing and running Norv."},
        {"r64:17", "Configure Norv.lnk", panel, "", "View or change Norv settings."},
        {"r64:17", "Check For Updates.lnk", panel, "-tab update",
         "See if new Norv updates are available."},
        {"r64:17", "About Norv.lnk", panel, "-tab about", "View Norv version information."},
        {"k64:21.0.12", kDocsUrl, docs + "21/index.html", "", docsHint},
        {"k64:9", kDocsUrl, docs + "9/index.html", "", docsHint},
        {"k64:1.8.0_60", kDocsUrl, docs + "8/docs", "", docsHint},
        {"k64:1.7.0_80", kDocsLink, docs + "7/docs", "", docsHint},
    };
    NorvShortcutsManager manager;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.product + c.file);
        Family pc(c.product);
        pc.handle(manager);
        const InstalledNorv& product = pc.listed[0];
        const tstring& folder = product.type == Bundle::kQvr ? kQvrFolder : kQvkFolder;
        EXPECT_EQ(pc.machine.shell.link(folder + _T("\\") + fromUtf8(c.file)),
                  (simulated::ShellLink{c.target.starts_with("http"), fromUtf8(c.target),
                                        fromUtf8(c.arguments), fromUtf8(c.description),
                                        product.homeDir + _T("\\bin\\norv.exe")}));
    }
}

TEST(NorvShortcuts, MeetFoldersAsUsersLeaveThem) {
    Family pc("r64:17 k64:17");
    auto& volumes = pc.machine.volumes;
    volumes.addFile(kQvrFolder + _T("\\Old.url"));
    volumes.setReadOnly(kQvrFolder + _T("\\Old.url"));
    volumes.addFile(kQvrFolder + _T("\\Mine\\Kept.lnk"));
    volumes.addFile(kQvkFolder + _T("\\Busy.lnk"));
    volumes.lock(kQvkFolder + _T("\\Busy.lnk"));
    pc.machine.calls.failCall("IPersistFile::Save", 2);
    NorvShortcutsManager manager;
    pc.handle(manager);
    EXPECT_EQ(pc.files(kQvrFolder),
              "About Norv.lnk|Check For Updates.lnk|Configure Norv.lnk|Visit norv.example.url");
    EXPECT_EQ(pc.files(kQvrFolder + _T("\\Mine")), "Kept.lnk");
    EXPECT_EQ(pc.files(kQvkFolder), std::string("Busy.lnk|") + kDocsUrl);
}

}  // namespace
