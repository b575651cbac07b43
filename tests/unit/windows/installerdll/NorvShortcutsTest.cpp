#include "windows/installerdll/NorvShortcuts.h"

#include "builders/Product.h"
#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

const tstring kQvrFolder = kMenu + u"\\Norv";
const tstring kQvkFolder = kMenu + u"\\Norv Development Kit";

const char* const kLinkMenu =
    "About Norv.lnk|Check For Updates.lnk|Configure Norv.lnk|Get Help.lnk|Visit norv.example.lnk";
const char* const kUrlMenu =
    "About Norv.lnk|Check For Updates.lnk|Configure Norv.lnk|Get Help.url|Visit norv.example.url";
const std::string kDocumentation = "Reference Documentation";
const std::string kDisabled =
    "Norv version=17 doesn't support Start Menu shortcuts. They are disabled with install "
    "configuration.";

Product withZepmark(Product kit) {
    kit.files.push_back(u"bin\\wmq.exe");
    return kit;
}

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
    std::string runtimeFolder, kitFolder;
    Strings warnings = {};
    tstring configuration = {};
};

const Choice kChoices[] = {
    {.name = "before 1.7.0_40 there are no shortcuts",
     .installed = {qvr("1.7.0_39")},
     .runtimeFolder = "",
     .kitFolder = "",
     .warnings = {"Norv version=1.7.0_39 doesn't support Start Menu shortcuts. The minimal "
                  "supported version is 1.7.0_40"}},
    {.name = "the first version with shortcuts, to files alone",
     .installed = {qvr("1.7.0_40"), withZepmark(qvk("1.7.0_40"))},
     .runtimeFolder = kLinkMenu,
     .kitFolder = "Reference Documentation.lnk"},
    {.name = "the last version with shortcuts to files alone",
     .installed = {qvr("1.8.0_59")},
     .runtimeFolder = kLinkMenu,
     .kitFolder = ""},
    {.name = "from 1.8.0_60 on web shortcuts",
     .installed = {qvr("1.8.0_60"), qvr("1.8.0_51", 32), qvk("11"), qvk("1.8.0-b1", 32)},
     .runtimeFolder = kUrlMenu,
     .kitFolder = "Reference Documentation.url"},
    {.name = "a kit gives the runtime's folder nothing",
     .installed = {withZepmark(qvk("9")), qvk("1.8.0-b1", 32)},
     .runtimeFolder = "",
     .kitFolder = "Reference Documentation.url"},
    {.name = "a kit before 11 without commercial features has no shortcuts",
     .installed = {qvk("10")},
     .runtimeFolder = "",
     .kitFolder = "",
     .warnings = {"Norv version=10 doesn't support Start Menu shortcuts. C:\\Program "
                  "Files\\Norv\\QVK-10\\bin\\wmq.exe not found. Probably this release doesn't "
                  "include commercial features."}},
    {.name = "the version key of the kit with NOSTARTMENU=1 keeps the kit out",
     .installed = {qvr("17", 32), withNoStartMenu(qvk("17"), u"1")},
     .runtimeFolder = kUrlMenu,
     .kitFolder = "",
     .warnings = {kDisabled}},
    {.name = "NOSTARTMENU of the configuration concerns the runtime; other values of the key "
             "nothing",
     .installed = {qvr("17"), qvr("17", 32), withNoStartMenu(qvk("17"), u"true"), qvk("17", 32)},
     .runtimeFolder = "",
     .kitFolder = "Reference Documentation.url",
     .warnings = {kDisabled},
     .configuration = u"NOSTARTMENU=1"},
    {.name = "without a product the folders stay",
     .installed = {},
     .runtimeFolder = "old",
     .kitFolder = "old"},
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
        const char* name;
        const char* version;
        const TCHAR* file;
        const TCHAR* target;
    } cases[] = {
        {.name = "7",
         .version = "1.7.0_40",
         .file = u"\\Reference Documentation.lnk",
         .target = u"http://docs.norv.example/norvse/7/docs"},
        {.name = "8",
         .version = "1.8.0_60",
         .file = u"\\Reference Documentation.url",
         .target = u"http://docs.norv.example/norvse/8/docs"},
        {.name = "9",
         .version = "9",
         .file = u"\\Reference Documentation.url",
         .target = u"http://docs.norv.example/norvse/9/index.html"},
        {.name = "21",
         .version = "21.0.3",
         .file = u"\\Reference Documentation.url",
         .target = u"http://docs.norv.example/norvse/21/index.html"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Family pc({withZepmark(qvk(c.version))});
        pc.handle(NorvShortcutsManager());
        EXPECT_EQ(linkAt(pc, kQvkFolder + c.file).target, c.target);
    }
}

TEST(NorvShortcuts, HaveTargetsDescriptionsAndIcons) {
    const struct {
        const char* name;
        tstring path;
        bool internet;
        const TCHAR *target, *arguments, *description, *icon;
    } cases[] = {
        {.name = "about",
         .path = kQvrFolder + u"\\About Norv.lnk",
         .internet = false,
         .target = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norvcpl.exe",
         .arguments = u"-tab about",
         .description = u"View Norv version information.",
         .icon = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norv.exe"},
        {.name = "updates",
         .path = kQvrFolder + u"\\Check For Updates.lnk",
         .internet = false,
         .target = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norvcpl.exe",
         .arguments = u"-tab update",
         .description = u"See if new Norv updates are available.",
         .icon = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norv.exe"},
        {.name = "configure",
         .path = kQvrFolder + u"\\Configure Norv.lnk",
         .internet = false,
         .target = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norvcpl.exe",
         .arguments = u"",
         .description = u"View or change Norv settings.",
         .icon = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norv.exe"},
        {.name = "help",
         .path = kQvrFolder + u"\\Get Help.url",
         .internet = true,
         .target = u"http://www.norv.example/help",
         .arguments = u"",
         .description = u"Find solutions to issues related to installing and running Norv.",
         .icon = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norv.exe"},
        {.name = "visit",
         .path = kQvrFolder + u"\\Visit norv.example.url",
         .internet = true,
         .target = u"http://www.norv.example/",
         .arguments = u"",
         .description = u"Learn more about Norv.",
         .icon = u"C:\\Program Files\\Norv\\QVR-17\\bin\\norv.exe"},
        {.name = "documentation",
         .path = kQvkFolder + u"\\Reference Documentation.url",
         .internet = true,
         .target = u"http://docs.norv.example/norvse/17/index.html",
         .arguments = u"",
         .description = u"View developer resources including online API documentation.",
         .icon = u"C:\\Program Files\\Norv\\QVK-17\\bin\\norv.exe"},
    };
    Family pc({qvr("17"), qvk("17")});
    pc.handle(NorvShortcutsManager());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const simulated::ShellLink link = linkAt(pc, c.path);
        EXPECT_EQ(link.internet, c.internet);
        EXPECT_EQ(toUtf8(link.target), toUtf8(c.target));
        EXPECT_EQ(toUtf8(link.arguments), toUtf8(c.arguments));
        EXPECT_EQ(toUtf8(link.description), toUtf8(c.description));
        EXPECT_EQ(toUtf8(link.icon), toUtf8(c.icon));
    }
}

TEST(NorvShortcuts, KeepWhatIsInUseAndWhatOthersPutBelow) {
    Family pc({qvr("17"), qvk("17")});
    auto& volumes = pc.machine.volumes;
    volumes.addFile(kQvrFolder + u"\\Old.url");
    volumes.setReadOnly(kQvrFolder + u"\\Old.url");
    volumes.addFile(kQvrFolder + u"\\Mine\\Kept.lnk");
    volumes.addFile(kQvkFolder + u"\\Busy.lnk");
    volumes.lock(kQvkFolder + u"\\Busy.lnk");
    pc.handle(NorvShortcutsManager());
    EXPECT_FALSE(volumes.exists(kQvrFolder + u"\\Old.url"));
    EXPECT_TRUE(volumes.exists(kQvrFolder + u"\\Mine\\Kept.lnk"));
    pc.listed.clear();
    EXPECT_TRUE(pc.update());
    pc.machine.restart();
    EXPECT_TRUE(volumes.exists(kQvkFolder + u"\\Busy.lnk")) << "not even at the restart";
    volumes.unlock(kQvkFolder + u"\\Busy.lnk");
    EXPECT_TRUE(pc.update());
    EXPECT_EQ(pc.files(kMenu), "");
}

TEST(NorvShortcuts, GoOnPastOneThatCannotBeSaved) {
    Family pc({qvr("17")});
    pc.machine.calls.failCall("IPersistFile::Save", 2);
    pc.handle(NorvShortcutsManager());
    EXPECT_EQ(std::ranges::count(pc.files(kQvrFolder), '|'), 3) << "four of five";
}

}  // namespace
