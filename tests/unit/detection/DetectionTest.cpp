// Whole detections on machines with products, whatever is wrong with them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Products.h"
#include "windows/common/NorvEnvironment.h"

namespace {

using products::gfx;
using products::Product;
using products::qvk;
using products::qvr;
using products::Texts;
using simulated::View;
using tstrings::toUtf8;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kAll = 0x37;

class Detection : public testing::Test {
protected:
    /// "QVR64 1.8.0_45-b13" for each product.
    Lines list(std::uint32_t mask = kAll) {
        Lines lines;
        for (const InstalledNorv& product : NorvEnvironment::detect(mask)) {
            const char* const types[] = {"QVR", "QVK", "GFX"};
            lines.push_back(types[product.type] + std::to_string(product.bits) + " " +
                            toUtf8(sourceText(product.version)));
        }
        return lines;
    }

    /// Source text and precision.
    static std::string versionOf(const InstalledNorv& product) {
        return toUtf8(sourceText(product.version)) + "/" +
               std::to_string(product.version.precision());
    }

    /// The one product, after it has been installed; removes it again.
    InstalledNorv detectOne(const Product& product) {
        products::install(machine, product);
        const auto found = NorvEnvironment::detect(kAll);
        products::uninstall(machine, product);
        EXPECT_TRUE(machine.installer.openHandles().empty());
        EXPECT_TRUE(machine.handles.open().empty());
        return found.empty() ? InstalledNorv() : found[0];
    }

    simulated::Machine machine;
    simulated::Running running{machine};
};

TEST_F(Detection, FindsTheClassesThatTheMaskSelects) {
    for (const Product& product :
         {qvk(u"11.0.2+9"), qvr(u"1.8.0_45-b13"), gfx(u"2.2.0"), qvr(u"1.8.0_301-b09", 32),
          qvr(u"17", 32), qvk(u"1.7.0_80-b15", 32), qvk(u"21-ea+35")}) {
        products::install(machine, product);
    }
    const Lines runtimes = {"QVR64 1.8.0_45-b13", "QVR32 1.8.0_301-b09", "QVR32 17"};
    EXPECT_EQ(list(0x31), runtimes);
    EXPECT_EQ(list(0x22), (Lines{"QVK64 11.0.2+9", "QVK64 21-ea+35"}));
    EXPECT_EQ(list(0x24), Lines{"GFX64 2.2.0"});
    for (const std::uint32_t mask : {0x14u, 0x07u, 0x30u}) {
        EXPECT_EQ(list(mask), Lines()) << mask;
    }
    EXPECT_EQ(list().size(), 7u);
    // The first product needs a GUID, is left out and the rest found.
    machine.calls.failCall("IIDFromString", 1);
    EXPECT_EQ(list(0x31), (Lines{runtimes[1], runtimes[2]}));
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 1u);
    machine.calls.failAll("MsiEnumRelatedProductsW");
    EXPECT_THROW(list(), std::runtime_error);
}

TEST_F(Detection, TellsAllOfAProduct) {
    Product runtime = qvr(u"1.8.0_45-b13");
    runtime.packageProperties[u"Enterprise"] = u"YES";
    runtime.versionKeyValues[u"MSI\\MODE"] = u"s";
    const InstalledNorv found = detectOne(runtime);
    EXPECT_NE(found.uninstaller, nullptr);

    const std::string code = toUtf8(runtime.code);
    Lines trace = logMessages(machine, "TRACE");
    EXPECT_TRUE(trace.back().starts_with("Exiting NorvEnvironment::detect (entered at "));
    trace.pop_back();
    EXPECT_EQ(
        trace,
        (Lines{
            "Entering NorvEnvironment::detect",
            "Installed Norv detected: version=1.8.0_045; arch=64; productCode=" + code + "; type=0",
            "Find home dir of " + code + " Norv installation",
            "Detect full version of " + code + " Norv installation",
            "detectFullVersionFromMsi(" + code + ")",
            "Detect mode of " + code + " Norv installation",
            "InstalledNorv(1.8.0_45-b13|1.8.0_45-b13|QVR|64bit|" + toUtf8(runtime.homeDir) + "|" +
                code + "|20|" + "8bbecd4ed503b09a088275b45e323bdb1fab34031e8c5c3b2b26e5e6e96c7636)",
        }));
}

TEST_F(Detection, CompletesVersionsByFallBacks) {
    const Product legacy = qvr(u"1.8.0_45-b13");
    const auto with = [](Product product, const Texts& properties) {
        for (const auto& [name, value] : properties) {
            product.packageProperties[name] = value;
        }
        return product;
    };
    const auto full = [&](const char16_t* text) { return with(legacy, {{u"FullVersion", text}}); };
    const auto named = [](Product product, const char16_t* manifest) {
        product.manifestVersion = manifest;
        return product;
    };
    Product bare = full(u"");
    bare.hasFiles = false;
    Product sealed = with(legacy, {{u"BaseimageChecksumSHA256", std::u16string(64, u'a')}});
    sealed.versionKeyValues[u"MSI\\MODE"] = u"static";
    const std::string modeAndChecksum = "|10|" + std::string(64, 'a') + ")";
    const struct {
        Product product;
        const char* version;  ///< source text and precision; "/8" when the product is left out
        std::string record;   ///< a piece of the log
    } cases[] = {
        {sealed, "1.8.0_45-b13/8", modeAndChecksum},
        {with(legacy, {{u"BaseimageChecksumSHA256", u"0"}, {u"Enterprise", u"no"}}),
         "1.8.0_45-b13/8", "Unexpected length of "},
        {full(u""), "1.8.0_45-b13/8", "detectFullVersionFromHomeDir("},
        {full(u"1.8"), "1.8.0_45-b13/8", "The string is too short' caught"},
        {full(u"1.7.0_80-b15"), "1.7.0_80-b15/8",
         "{26A24AE4-039D-4CA4-87B4-2F64180045F0}: Given version is [1.8.0_045]; Value of "
         "\"FullVersion\" MSI property is [1.7.0_80-b15]. Should have the same family."},
        {with(legacy, {{u"FullVersion", u""}, {u"QVK_VERSION", u"1.8.0_45-b14"}}), "1.8.0_45-b14/8",
         ""},
        {bare, "1.8.0_045/4", "InstalledNorv(1.8.0_45|Full version unknown|QVR|64bit|"},
        {named(legacy, u"1.8.0_301-b09"), "1.8.0_301-b09/8",
         " Detected version mapping from 1.8.0_045 to 1.8.0_301-b09 in "
         "{26A24AE4-039D-4CA4-87B4-2F64180045F0} Norv installation."},
        {named(legacy, u"1.8.0_45-b99"), "1.8.0_45-b13/8", ""},
        {named(qvk(u"1.8.0-b13"), u"1.9.0-b1"), "1.8.0-b13/8", ""},
        {named(qvr(u"11.0.2+9"), u"17"), "11.0.2+9/8", "unknown version tag"},
        {with(qvr(u"11.0.2+9"), {{u"FullVersion", u""}}), "/8", "unknown version tag"},
        {with(gfx(u"2.2.0"), {{u"FullVersion", u""}}), "2.2.0/8",
         "InstalledNorv(2.2.0|2.2.0|NORV_GFX|64bit|"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(versionOf(detectOne(c.product)), c.version);
        EXPECT_TRUE(logMentions(machine, c.record)) << c.record;
        clearLog(machine);
    }

    products::install(machine, legacy);
    auto& package = machine.installer.product(legacy.code)->package;
    machine.volumes.addFile(legacy.homeDir + u"\\lib\\rt.vkr", "no archive");
    package.unreadable(1627);
    EXPECT_EQ(versionOf(NorvEnvironment::detect(kAll).at(0)), "1.8.0_45-b13/8");
    EXPECT_TRUE(logMentions(machine, ", MSIDBOPEN_READONLY) failed. MSI error [1627]"));
    EXPECT_TRUE(logMentions(machine, "ZIP_Open("));
    machine.volumes.setVersion(legacy.homeDir + u"\\bin\\norv.exe", 8, 1, 450, 13);
    EXPECT_EQ(versionOf(NorvEnvironment::detect(kAll).at(0)), "1.8.0_045/4");
    EXPECT_TRUE(logMentions(
        machine, "\\bin\\norv.exe is [8.1.450.13]. Unexpected components in file version."));
}

TEST_F(Detection, SearchesTheHomeDirectory) {
    const std::u16string uninstallKeys =
        u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
    // The product's own directory is "C:\Program Files\Norv\<name>"; HOME stands for it.
    const struct {
        const char16_t *location, *productIcon, *displayIcon, *readme, *norvHome, *found;
    } cases[] = {
        {u"X:\\gone\\\\/", u"", u"", u"", u"", u"X:\\gone"},
        {u"", u"HOME\\bin\\norv.exe", u"", u"", u"", u"HOME"},
        {u"", u"HOME/lib/icons/a.ico//", u"", u"", u"", u"HOME"},
        {u"", u"", u"HOME\\bin\\norv.exe,0", u"", u"", u"HOME"},
        // The icon of the package hides that of the key, right or wrong.
        {u"", u"C:\\Windows\\x.ico", u"HOME\\bin\\norv.exe", u"", u"D:\\k", u"D:\\k"},
        {u"", u"", u"", u"HOME\\readme.txt", u"", u"HOME"},
        {u"", u"bin\\norv.exe", u"", u"C:", u"D:\\k\\", u"D:\\k"},
    };
    for (const auto& c : cases) {
        Product product = qvk(u"1.8.0-b13");
        const auto text = [&](const char16_t* pattern) {
            return tstrings::replace(pattern, u"HOME", product.homeDir);
        };
        product.info[u"InstallLocation"] = text(c.location);
        product.info[u"ProductIcon"] = text(c.productIcon);
        product.versionKeyValues[u"NorvHome"] = text(c.norvHome);
        const std::u16string key = uninstallKeys + product.code;
        machine.registry.setString(View::Bits64, key, u"DisplayIcon", text(c.displayIcon));
        machine.registry.setString(View::Bits64, key, u"Readme", text(c.readme));
        EXPECT_EQ(toUtf8(detectOne(product).homeDir), toUtf8(text(c.found)));
    }
    // A kit has a compiler, and the 64-bit view of the Uninstall key wins.
    Product kit = qvk(u"1.8.0-b13");
    kit.info = {{u"ProductIcon", kit.homeDir + u"\\bin\\norv.exe"}};
    kit.versionKeyValues[u"NorvHome"] = u"D:\\kit";
    products::install(machine, kit);
    machine.volumes.remove(kit.homeDir + u"\\bin\\norvc.exe");
    machine.volumes.addDirectory(kit.homeDir + u"\\bin\\norvc.exe");
    machine.registry.setString(View::Bits32, uninstallKeys + kit.code, u"Readme", u"C:\\x");
    EXPECT_EQ(NorvEnvironment::detect(kAll).at(0).homeDir, u"D:\\kit");
    EXPECT_TRUE(
        logHas(machine, "Registry key [SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" +
                            toUtf8(kit.code) +
                            "] exists in both 32bit and 64bit HKLM registry hives. Use from 64bit "
                            "hive."));
    machine.registry.deleteKey(View::Bits32, uninstallKeys + kit.code);
    machine.registry.deleteKey(View::Bits64, uninstallKeys + kit.code);
    machine.installer.product(kit.code)->properties.clear();
    EXPECT_TRUE(NorvEnvironment::detect(kAll).empty());
    EXPECT_TRUE(logMentions(machine, "' not found in none of HKLM hives' caught"));
}

}  // namespace
