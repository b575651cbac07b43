#include "windows/installerdll/AssistLink.h"

#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

const tstring kEntry = kAts + u"\\Dovrin_NorvAssistLink";
const tstring kBridge64 = u"C:\\Windows\\System32\\WindowsAssistLink-64.dll";
const tstring kBridge32 = u"C:\\Windows\\SysWOW64\\WindowsAssistLink-32.dll";

struct Choice {
    const char* name;
    std::vector<Product> installed;
    std::string startExe = kNone, bridge64 = kNone, bridge32 = kNone;
    Strings warnings = {};
};

const Choice kChoices[] = {
    {.name = "before 1.7.0_06 there is no assist link",
     .installed = {qvr("1.7.0_05")},
     .warnings = {"Norv version=1.7.0_05 doesn't support Assist Link. The minimal supported "
                  "version is 1.7.0_06"}},
    {.name = "the first version with an assist link",
     .installed = {qvr("1.7.0_06")},
     .startExe = "C:\\Program Files\\Norv\\QVR-1.7.0_06\\bin\\alinkswitch.exe",
     .bridge64 = "of 1.7.0_06"},
    {.name = "an architecture whose product is too old has no library",
     .installed = {qvr("17"), qvr("1.7.0_05", 32)},
     .startExe = "C:\\Program Files\\Norv\\QVR-17\\bin\\alinkswitch.exe",
     .bridge64 = "of 17",
     .warnings = {"Norv version=1.7.0_05 doesn't support Assist Link. The minimal supported "
                  "version is 1.7.0_06"}},
    {.name = "the latest of both types and schemes",
     .installed = {qvr("1.8.0_60"), qvr("1.8.0_51", 32), qvk("11"), qvk("1.8.0-b1", 32)},
     .startExe = "C:\\Program Files\\Norv\\QVK-11\\bin\\alinkswitch.exe",
     .bridge64 = "of 11",
     .bridge32 = "of 1.8.0_51"},
    {.name = "of equal versions the runtime",
     .installed = {qvr("17", 32), qvk("17")},
     .startExe = "C:\\Program Files (x86)\\Norv\\QVR-17\\bin\\alinkswitch.exe",
     .bridge64 = "of 17",
     .bridge32 = "of 17"},
    {.name = "kits before 11 are no candidates", .installed = {qvk("10"), qvk("1.8.0-b1", 32)}},
    {.name = "a product without the switch is started, but its library isn't copied",
     .installed = {without(qvr("17"), u"bin\\alinkswitch.exe"), qvr("1.8.0_60", 32)},
     .startExe = "C:\\Program Files\\Norv\\QVR-17\\bin\\alinkswitch.exe",
     .bridge32 = "of 1.8.0_60",
     .warnings = {"Not registering Norv=17 for AssistLink, as C:\\Program "
                  "Files\\Norv\\QVR-17\\bin\\alinkswitch.exe doesn't exist."}},
    {.name = "a product without the library has no entry",
     .installed = {without(qvr("17"), u"bin\\WindowsAssistLink-64.dll")}},
};

TEST(AssistLink, StartsTheLatestProductAndCopiesTheLibraryOfEachArchitecture) {
    for (const auto& c : kChoices) {
        SCOPED_TRACE(c.name);
        Family pc(c.installed);
        pc.handle(AssistLinkManager());
        EXPECT_EQ(pc.value(kEntry, u"StartExe"), c.startExe);
        EXPECT_EQ(pc.content(kBridge64), c.bridge64);
        EXPECT_EQ(pc.content(kBridge32), c.bridge32);
        EXPECT_EQ(logMessages(pc.machine, "WARNING"), c.warnings);
    }
}

TEST(AssistLink, OfEarlierProductsIsRemoved) {
    Family pc({});
    const tstring libraries[] = {kBridge64, kBridge32,
                                 u"C:\\Windows\\System32\\WindowsAssistLink-32.dll",
                                 u"C:\\Windows\\SysWOW64\\WindowsAssistLink-64.dll"};
    for (const tstring& library : libraries) {
        pc.machine.volumes.addFile(library);
    }
    pc.machine.registry.createKey(View::Bits64, kEntry + u"\\Deep");
    pc.handle(AssistLinkManager());
    for (const tstring& library : libraries) {
        EXPECT_EQ(pc.content(library), kNone) << toUtf8(library);
    }
    EXPECT_EQ(pc.subkeys(kEntry), Strings{kNone});
}

TEST(AssistLink, WritesTheEntryInTheUsersLanguage) {
    Family pc({qvr("17")});
    pc.handle(AssistLinkManager());
    EXPECT_EQ(pc.value(kEntry, u"ApplicationName"), "Enable Norv Assist Link");

    pc.machine.facts.uiLanguages = {u"0411", u"0011"};
    pc.handle(AssistLinkManager());
    EXPECT_EQ(pc.value(kEntry, u"ApplicationName"), "Norv Assist Linkを有効にする");
    EXPECT_EQ(pc.value(kEntry, u"Description"),
              "Norvアプリケーションに対するアシスティブ・テクノロジ・アクセスを提供するドブリン社の"
              "Norv Assist Link。ノート: Norv Assist "
              "Linkは、このチェック・ボックスをクリアしても無効にはできません。無効にする場合は、コ"
              "マンド・プロンプトから%NORV_HOME%\\bin\\alinkswitch -disableを実行してください。");
}

TEST(AssistLink, WritesTheEntrysOtherValues) {
    Family pc({qvr("17")});
    pc.handle(AssistLinkManager());
    EXPECT_EQ(pc.machine.registry.valueNames(View::Bits64, kEntry),
              (std::vector<tstring>{u"StartExe", u"ApplicationName", u"Description", u"Profile",
                                    u"SimpleProfile", u"StartParams"}));
    EXPECT_EQ(pc.value(kEntry, u"Profile"),
              "<HCIModel><Accommodation type=\"mild vision\"/><Accommodation type=\"severe "
              "vision\"/><Accommodation type=\"mild cognitive\"/><Accommodation type=\"severe "
              "cognitive\"/></HCIModel>");
    EXPECT_EQ(pc.value(kEntry, u"SimpleProfile"), "screenreader");
    EXPECT_EQ(pc.value(kEntry, u"StartParams"), "-enable");
}

}  // namespace
