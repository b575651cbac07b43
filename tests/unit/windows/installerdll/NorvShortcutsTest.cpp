#include "windows/installerdll/NorvShortcuts.h"

#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

const tstring kQvrFolder = kMenu + u"\\Norv";
const tstring kQvkFolder = kMenu + u"\\Norv Development Kit";

const Strings kLinkMenu = {"About Norv.lnk", "Check For Updates.lnk", "Configure Norv.lnk",
                           "Get Help.lnk", "Visit norv.example.lnk"};
const Strings kUrlMenu = {"About Norv.lnk", "Check For Updates.lnk", "Configure Norv.lnk",
                          "Get Help.url", "Visit norv.example.url"};
const Strings kDocumentation = {"Reference Documentation.url"};
const Strings kDisabled = {
    "Norv version=17 doesn't support Start Menu shortcuts. They are disabled with install "
    "configuration."};

Product withNoStartMenu(Product kit, const TCHAR* value) {
    kit.versionKeyValues[u"MSI\\NOSTARTMENU"] = value;
    return kit;
}

simulated::ShellLink linkAt(const Family& pc, const tstring& path) {
    return pc.machine.shell.link(path).value_or(simulated::ShellLink());
}

struct Choice {
    const char* name;
    std::vector<Product> installed;
    tstring configuration = {};
    Strings runtimeFolder = {}, kitFolder = {}, warnings = {};
};

const Choice kChoices[] = {
    {.name = "before 1.7.0_40 there are no shortcuts",
     .installed = {qvr("1.7.0_39")},
     .warnings = {"Norv version=1.7.0_39 doesn't support Start Menu shortcuts. The minimal "
                  "supported version is 1.7.0_40"}},
    {.name = "the first version with shortcuts, to files alone",
     .installed = {qvr("1.7.0_40"), withZepmark(qvk("1.7.0_40"))},
     .runtimeFolder = kLinkMenu,
     .kitFolder = {"Reference Documentation.lnk"}},
    {.name = "the last version with shortcuts to files alone",
     .installed = {qvr("1.8.0_59")},
     .runtimeFolder = kLinkMenu},
    {.name = "from 1.8.0_60 on web shortcuts",
     .installed = {qvr("1.8.0_60"), qvr("1.8.0_51", 32), qvk("11"), qvk("1.8.0-b1", 32)},
     .runtimeFolder = kUrlMenu,
     .kitFolder = kDocumentation},
    {.name = "a kit before 11 with commercial features",
     .installed = {withZepmark(qvk("9")), qvk("1.8.0-b1", 32)},
     .kitFolder = kDocumentation},
    {.name = "a kit before 11 without commercial features has no shortcuts",
     .installed = {qvk("10")},
     .warnings = {"Norv version=10 doesn't support Start Menu shortcuts. C:\\Program "
                  "Files\\Norv\\QVK-10\\bin\\wmq.exe not found. Probably this release doesn't "
                  "include commercial features."}},
    {.name = "NOSTARTMENU=1 in the version key of the kit keeps the kit out",
     .installed = {qvr("17", 32), withNoStartMenu(qvk("17"), u"1")},
     .runtimeFolder = kUrlMenu,
     .warnings = kDisabled},
    {.name = "NOSTARTMENU of the configuration keeps the runtime out",
     .installed = {qvr("17"), qvr("17", 32), withNoStartMenu(qvk("17"), u"true"), qvk("17", 32)},
     .configuration = u"NOSTARTMENU=1",
     .kitFolder = kDocumentation,
     .warnings = kDisabled},
    {.name = "without a product the folders stay",
     .installed = {},
     .runtimeFolder = {"old"},
     .kitFolder = {"old"}},
};

TEST(NorvShortcuts, AreThoseOfTheLatestRuntimeAndKit) {
    for (const auto& c : kChoices) {
        SCOPED_TRACE(c.name);
        Family pc(c.installed);
        pc.machine.volumes.addFile(kQvrFolder + u"\\old");
        pc.machine.volumes.addFile(kQvkFolder + u"\\old");
        pc.config.LoadConfigSettings(c.configuration);
        pc.handle(NorvShortcutsManager());
        EXPECT_EQ(pc.files(kQvrFolder), c.runtimeFolder);
        EXPECT_EQ(pc.files(kQvkFolder), c.kitFolder);
        EXPECT_EQ(logMessages(pc.machine, "WARNING"), c.warnings);
    }
}

TEST(NorvShortcuts, OpenTheDocumentationOfTheKitsVersion) {
    const struct {
        std::string name;  ///< the version
        tstring file = u"\\Reference Documentation.url";
        tstring address;
    } cases[] = {
        {.name = "1.7.0_40",
         .file = u"\\Reference Documentation.lnk",
         .address = u"http://docs.norv.example/norvse/7/docs"},
        {.name = "1.8.0_60", .address = u"http://docs.norv.example/norvse/8/docs"},
        {.name = "9", .address = u"http://docs.norv.example/norvse/9/index.html"},
        {.name = "21.0.3", .address = u"http://docs.norv.example/norvse/21/index.html"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Family pc({withZepmark(qvk(c.name))});
        pc.handle(NorvShortcutsManager());
        EXPECT_EQ(linkAt(pc, kQvkFolder + c.file).target, c.address);
    }
}

TEST(NorvShortcuts, HaveTargetsDescriptionsAndIcons) {
    const struct {
        std::string name;  ///< the path in the menu
        bool isInternet = false;
        tstring target = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norvcpl.exe";
        tstring arguments = {};
        tstring description;
        tstring icon = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norv.exe";
    } cases[] = {
        {.name = "Norv\\About Norv.lnk",
         .arguments = u"-tab about",
         .description = u"View Norv version information."},
        {.name = "Norv\\Check For Updates.lnk",
         .arguments = u"-tab update",
         .description = u"See if new Norv updates are available."},
        {.name = "Norv\\Configure Norv.lnk", .description = u"View or change Norv settings."},
        {.name = "Norv\\Get Help.url",
         .isInternet = true,
         .target = u"http://www.norv.example/help",
         .description = u"Find solutions to issues related to installing and running Norv."},
        {.name = "Norv\\Visit norv.example.url",
         .isInternet = true,
         .target = u"http://www.norv.example/",
         .description = u"Learn more about Norv."},
        {.name = "Norv Development Kit\\Reference Documentation.url",
         .isInternet = true,
         .target = u"http://docs.norv.example/norvse/17/index.html",
         .description = u"View developer resources including online API documentation.",
         .icon = u"C:\\Program Files\\Norv\\QVK-17\\bin\\norv.exe"},
    };
    Family pc({qvr("17"), qvk("17")});
    pc.handle(NorvShortcutsManager());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const simulated::ShellLink link = linkAt(pc, kMenu + u"\\" + fromUtf8(c.name));
        EXPECT_EQ(link.internet, c.isInternet);
        EXPECT_EQ(link.target, c.target);
        EXPECT_EQ(link.arguments, c.arguments);
        EXPECT_EQ(link.description, c.description);
        EXPECT_EQ(link.icon, c.icon);
    }
}

TEST(NorvShortcuts, ReplaceTheFilesOfTheirFolderAlone) {
    Family pc({qvr("17")});
    pc.machine.volumes.addFile(kQvrFolder + u"\\Old.url");
    pc.machine.volumes.setReadOnly(kQvrFolder + u"\\Old.url");
    pc.machine.volumes.addFile(kQvrFolder + u"\\Mine\\Kept.lnk");
    pc.handle(NorvShortcutsManager());
    EXPECT_FALSE(pc.machine.volumes.exists(kQvrFolder + u"\\Old.url"));
    EXPECT_TRUE(pc.machine.volumes.exists(kQvrFolder + u"\\Mine\\Kept.lnk"));
}

TEST(NorvShortcuts, AreRemovedWithTheLastProductOfTheirType) {
    Family pc({qvr("17"), qvk("17")});
    pc.handle(NorvShortcutsManager());
    EXPECT_TRUE(pc.update(UpdateAction::Remove, qvr("17")));
    EXPECT_EQ(pc.files(kMenu), Strings{"Norv Development Kit\\Reference Documentation.url"});
    std::erase_if(pc.listed,
                  [](const InstalledNorv& product) { return product.type == Bundle::kQvr; });
    EXPECT_TRUE(pc.update(UpdateAction::Remove, qvk("17")));
    EXPECT_EQ(pc.files(kMenu), Strings());
}

TEST(NorvShortcuts, InUseStayAlsoAtTheRestart) {
    Family pc({qvk("17")});
    pc.machine.volumes.addFile(kQvkFolder + u"\\Busy.lnk");
    pc.machine.volumes.lock(kQvkFolder + u"\\Busy.lnk");
    EXPECT_TRUE(pc.update(UpdateAction::Remove, qvk("17")));
    pc.machine.restart();
    EXPECT_EQ(pc.files(kMenu), Strings{"Norv Development Kit\\Busy.lnk"});
}

TEST(NorvShortcuts, GoOnPastOneThatCannotBeSaved) {
    Family pc({qvr("17")});
    pc.machine.calls.failCall("IPersistFile::Save", 2);
    pc.handle(NorvShortcutsManager());
    EXPECT_EQ(pc.files(kQvrFolder), (Strings{"About Norv.lnk", "Check For Updates.lnk",
                                             "Configure Norv.lnk", "Visit norv.example.url"}));
}

}  // namespace
