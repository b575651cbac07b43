#include "windows/installerdll/AssistLink.h"

#include "builders/Product.h"
#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

const tstring kEntry = kAts + u"\\Dovrin_NorvAssistLink";
const tstring kBridge64 = u"C:\\Windows\\System32\\WindowsAssistLink-64.dll";
const tstring kBridge32 = u"C:\\Windows\\SysWOW64\\WindowsAssistLink-32.dll";
/// Libraries in the directory of the other architecture.
const tstring kStrayBridges[] = {u"C:\\Windows\\System32\\WindowsAssistLink-32.dll",
                                 u"C:\\Windows\\SysWOW64\\WindowsAssistLink-64.dll"};
const char* const kNone = "none";

std::string contentOf(const Family& pc, const tstring& path) {
    return pc.machine.volumes.content(path).value_or(kNone);
}

/// A machine with an entry and libraries that earlier products left behind.
struct WithOldEntry : Family {
    explicit WithOldEntry(const std::vector<Product>& products) : Family(products) {
        machine.registry.createKey(View::Bits64, kEntry + u"\\Deep");
        for (const tstring& path : {kBridge64, kBridge32, kStrayBridges[0], kStrayBridges[1]}) {
            machine.volumes.addFile(path, "old");
        }
    }
};

struct Choice {
    const char* name;
    std::vector<Product> installed;
    std::string startExe, bridge64, bridge32;
};

const Choice kChoices[] = {
    {.name = "before 1.7.0_06 there is no assist link",
     .installed = {qvr("1.7.0_05")},
     .startExe = kNone,
     .bridge64 = kNone,
     .bridge32 = kNone},
    {.name = "the first version with an assist link",
     .installed = {qvr("1.7.0_06")},
     .startExe = "C:\\Program Files\\Norv\\QVR-1.7.0_06\\bin\\alinkswitch.exe",
     .bridge64 = "of 1.7.0_06",
     .bridge32 = kNone},
    {.name = "the latest of both types and schemes",
     .installed = {qvr("1.8.0_60"), qvr("1.8.0_51", 32), qvk("11"), qvk("1.8.0-b1", 32)},
     .startExe = "C:\\Program Files\\Norv\\QVK-11\\bin\\alinkswitch.exe",
     .bridge64 = "of 11",
     .bridge32 = "of 1.8.0_51"},
    {.name = "a 32-bit kit that is later than the 64-bit runtime",
     .installed = {qvr("11"), qvk("17", 32)},
     .startExe = "C:\\Program Files (x86)\\Norv\\QVK-17\\bin\\alinkswitch.exe",
     .bridge64 = "of 11",
     .bridge32 = "of 17"},
    {.name = "of equal versions the runtime",
     .installed = {qvr("17", 32), qvk("17")},
     .startExe = "C:\\Program Files (x86)\\Norv\\QVR-17\\bin\\alinkswitch.exe",
     .bridge64 = "of 17",
     .bridge32 = "of 17"},
    {.name = "of equal runtimes the 64-bit one",
     .installed = {qvr("17"), qvr("17", 32), qvk("17"), qvk("17", 32)},
     .startExe = "C:\\Program Files\\Norv\\QVR-17\\bin\\alinkswitch.exe",
     .bridge64 = "of 17",
     .bridge32 = "of 17"},
    {.name = "kits of 9 and of the legacy scheme without an update are no candidates",
     .installed = {qvk("9"), qvk("1.8.0-b1", 32)},
     .startExe = kNone,
     .bridge64 = kNone,
     .bridge32 = kNone},
    {.name = "a product without the switch",
     .installed = {without(qvr("17"), u"bin\\alinkswitch.exe"), qvr("1.8.0_60", 32)},
     .startExe = "C:\\Program Files\\Norv\\QVR-17\\bin\\alinkswitch.exe",
     .bridge64 = kNone,
     .bridge32 = "of 1.8.0_60"},
    {.name = "a product without the library",
     .installed = {without(qvr("17"), u"bin\\WindowsAssistLink-64.dll")},
     .startExe = kNone,
     .bridge64 = kNone,
     .bridge32 = kNone},
    {.name = "no product",
     .installed = {},
     .startExe = kNone,
     .bridge64 = kNone,
     .bridge32 = kNone},
};

TEST(AssistLink, StartsTheLatestProductAndCopiesTheLibraryOfEachArchitecture) {
    for (const auto& c : kChoices) {
        SCOPED_TRACE(c.name);
        WithOldEntry pc(c.installed);
        pc.handle(AssistLinkManager());
        EXPECT_EQ(pc.value(kEntry, u"StartExe"), c.startExe);
        EXPECT_EQ(pc.machine.registry.hasKey(View::Bits64, kEntry), c.startExe != kNone);
        EXPECT_FALSE(pc.machine.registry.hasKey(View::Bits64, kEntry + u"\\Deep"));
        EXPECT_EQ(contentOf(pc, kBridge64), c.bridge64);
        EXPECT_EQ(contentOf(pc, kBridge32), c.bridge32);
        EXPECT_EQ(contentOf(pc, kStrayBridges[0]), kNone);
        EXPECT_EQ(contentOf(pc, kStrayBridges[1]), kNone);
    }
}

TEST(AssistLink, WarnsOfProductsThatCannotServe) {
    Family tooOld({qvr("1.7.0_05")});
    tooOld.handle(AssistLinkManager());
    EXPECT_EQ(logMessages(tooOld.machine, "WARNING"),
              Strings{"Norv version=1.7.0_05 doesn't support Assist Link. The minimal supported "
                      "version is 1.7.0_06"});

    Family bare({without(qvr("17"), u"bin\\alinkswitch.exe")});
    bare.handle(AssistLinkManager());
    EXPECT_EQ(logMessages(bare.machine, "WARNING"),
              Strings{"Not registering Norv=17 for AssistLink, as C:\\Program "
                      "Files\\Norv\\QVR-17\\bin\\alinkswitch.exe doesn't exist."});
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

TEST(AssistLink, IsRemovedWithTheLastProduct) {
    Family pc({qvr("17")});
    pc.handle(AssistLinkManager());
    pc.listed.clear();
    pc.handle(AssistLinkManager());
    EXPECT_FALSE(pc.machine.registry.hasKey(View::Bits64, kEntry));
    EXPECT_FALSE(pc.machine.volumes.exists(kBridge64));
}

}  // namespace
