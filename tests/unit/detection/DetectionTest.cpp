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

const std::u16string kUninstall =
    u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

class Detection : public testing::Test {
protected:
    /// "QVR64 1.8.0_45-b13/8|" for each product, with the precision.
    std::string list(std::uint32_t mask = 0x37) {
        std::string result;
        for (const InstalledNorv& product : NorvEnvironment::detect(mask)) {
            const char* const types[] = {"QVR", "QVK", "GFX"};
            result += types[product.type] + std::to_string(product.bits) + " " +
                      toUtf8(sourceText(product.version)) + "/" +
                      std::to_string(product.version.precision()) + "|";
        }
        EXPECT_TRUE(machine.installer.openHandles().empty() && machine.handles.open().empty());
        return result;
    }

    simulated::Machine machine;
    simulated::Running running{machine};
};

TEST_F(Detection, FindsTheClassesThatTheMaskSelects) {
    for (const Product& product :
         {qvk(u"11.0.2+9"), qvr(u"1.8.0_45-b13"), gfx(u"2.2.0"), qvr(u"1.8.0_301-b09", 32),
          qvr(u"17", 32), qvk(u"1.7.0_80-b15", 32)}) {
        products::install(machine, product);
    }
    EXPECT_EQ(list(0x31), "QVR64 1.8.0_45-b13/8|QVR32 1.8.0_301-b09/8|QVR32 17/8|");
    EXPECT_EQ(list(0x22), "QVK64 11.0.2+9/8|");
    EXPECT_EQ(list(0x24), "GFX64 2.2.0/8|");
    EXPECT_EQ(list(0x14) + list(0x07) + list(0x30), "");
    // The first product needs a GUID, is left out and the rest found.
    machine.calls.failCall("IIDFromString", 1);
    EXPECT_EQ(list(0x31), "QVR32 1.8.0_301-b09/8|QVR32 17/8|");
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 1u);
    machine.calls.failAll("MsiEnumRelatedProductsW");
    EXPECT_THROW(list(), std::runtime_error);
}

TEST_F(Detection, TellsAllOfAProduct) {
    Product runtime = qvr(u"1.8.0_45-b13");
    runtime.packageProperties[u"Enterprise"] = u"YES";
    runtime.versionKeyValues[u"MSI\\MODE"] = u"s";
    products::install(machine, runtime);
    EXPECT_NE(NorvEnvironment::detect(0x37).at(0).uninstaller, nullptr);

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
                code + "|20|8bbecd4ed503b09a088275b45e323bdb1fab34031e8c5c3b2b26e5e6e96c7636)",
        }));
}

TEST_F(Detection, CompletesVersionsByFallBacks) {
    const Product legacy = qvr(u"1.8.0_45-b13");
    const auto with = [](Product product, const std::u16string& property,
                         const std::u16string& value) {
        product.packageProperties[property] = value;
        return product;
    };
    const auto named = [](Product product, const char16_t* manifest) {
        product.manifestVersion = manifest;
        return product;
    };
    const std::u16string full = u"FullVersion";
    const Product unnamed = with(legacy, full, u"");
    Product bare = unnamed;
    bare.hasFiles = false;
    Product sealed = with(legacy, u"BaseimageChecksumSHA256", std::u16string(64, u'a'));
    sealed.versionKeyValues[u"MSI\\MODE"] = u"static";
    const struct {
        Product product;
        std::string found;   ///< behind "QVR64 "
        std::string record;  ///< a piece of the log
    } cases[] = {
        {sealed, "1.8.0_45-b13/8|", "|10|" + std::string(64, 'a') + ")"},
        {with(legacy, u"BaseimageChecksumSHA256", u"0"), "1.8.0_45-b13/8|",
         "Unexpected length of "},
        {with(legacy, u"Enterprise", u"no"), "1.8.0_45-b13/8|", "|10|)"},
        {unnamed, "1.8.0_45-b13/8|", "detectFullVersionFromHomeDir("},
        {with(legacy, full, u"1.8"), "1.8.0_45-b13/8|", "The string is too short' caught"},
        {with(legacy, full, u"1.7.0_80-b15"), "1.7.0_80-b15/8|",
         "{26A24AE4-039D-4CA4-87B4-2F64180045F0}: Given version is [1.8.0_045]; Value of "
         "\"FullVersion\" MSI property is [1.7.0_80-b15]. Should have the same family."},
        {with(unnamed, u"QVK_VERSION", u"1.8.0_45-b14"), "1.8.0_45-b14/8|", ""},
        {bare, "1.8.0_045/4|", "InstalledNorv(1.8.0_45|Full version unknown|QVR|64bit|"},
        {named(legacy, u"1.8.0_301-b09"), "1.8.0_301-b09/8|",
         " Detected version mapping from 1.8.0_045 to 1.8.0_301-b09 in "
         "{26A24AE4-039D-4CA4-87B4-2F64180045F0} Norv installation."},
        {named(legacy, u"1.8.0_45-b99"), "1.8.0_45-b13/8|", ""},
        {named(qvk(u"1.8.0-b13"), u"1.9.0-b1"), "1.8.0-b13/8|", "|QVK|64bit|"},
        {named(qvr(u"11.0.2+9"), u"17"), "11.0.2+9/8|", "unknown version tag"},
        {with(qvr(u"11.0.2+9"), full, u""), "", "unknown version tag"},
        {with(gfx(u"2.2.0"), full, u""), "2.2.0/8|", "InstalledNorv(2.2.0|2.2.0|NORV_GFX|64bit|"},
    };
    for (const auto& c : cases) {
        products::install(machine, c.product);
        EXPECT_EQ(list().erase(0, 6), c.found);
        EXPECT_TRUE(logMentions(machine, c.record)) << c.record;
        products::uninstall(machine, c.product);
        clearLog(machine);
    }

    products::install(machine, legacy);
    machine.installer.product(legacy.code)->package.unreadable(1627);
    machine.volumes.addFile(legacy.homeDir + u"\\lib\\rt.vkr", "no archive");
    EXPECT_EQ(list(), "QVR64 1.8.0_45-b13/8|");
    EXPECT_TRUE(logMentions(machine, ", MSIDBOPEN_READONLY) failed. MSI error [1627]"));
    EXPECT_TRUE(logMentions(machine, "ZIP_Open("));
    machine.volumes.setVersion(legacy.homeDir + u"\\bin\\norv.exe", 8, 1, 450, 13);
    EXPECT_EQ(list(), "QVR64 1.8.0_045/4|");
    EXPECT_TRUE(logMentions(
        machine, "\\bin\\norv.exe is [8.1.450.13]. Unexpected components in file version."));
}

TEST_F(Detection, SearchesTheHomeDirectory) {
    // HOME stands for the product's own directory.
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
        product.info = {{u"InstallLocation", text(c.location)},
                        {u"ProductIcon", text(c.productIcon)}};
        product.versionKeyValues[u"NorvHome"] = text(c.norvHome);
        products::install(machine, product);
        const std::u16string key = kUninstall + product.code;
        machine.registry.setString(View::Bits64, key, u"DisplayIcon", text(c.displayIcon));
        machine.registry.setString(View::Bits64, key, u"Readme", text(c.readme));
        EXPECT_EQ(toUtf8(NorvEnvironment::detect(0x37).at(0).homeDir), toUtf8(text(c.found)));
        products::uninstall(machine, product);
    }
    // A kit has a compiler, and the 64-bit view of the Uninstall key wins.
    Product kit = qvk(u"1.8.0-b13");
    kit.info = {{u"ProductIcon", kit.homeDir + u"\\bin\\norv.exe"}};
    kit.versionKeyValues[u"NorvHome"] = u"D:\\kit";
    products::install(machine, kit);
    machine.volumes.remove(kit.homeDir + u"\\bin\\norvc.exe");
    machine.volumes.addDirectory(kit.homeDir + u"\\bin\\norvc.exe");
    machine.registry.setString(View::Bits32, kUninstall + kit.code, u"Readme", u"C:\\x");
    EXPECT_EQ(NorvEnvironment::detect(0x37).at(0).homeDir, u"D:\\kit");
    EXPECT_TRUE(
        logHas(machine, "Registry key [SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" +
                            toUtf8(kit.code) +
                            "] exists in both 32bit and 64bit HKLM registry hives. Use from 64bit "
                            "hive."));
    machine.registry.deleteKey(View::Bits32, kUninstall + kit.code);
    machine.registry.deleteKey(View::Bits64, kUninstall + kit.code);
    machine.installer.product(kit.code)->properties.clear();
    EXPECT_EQ(list(), "");
    EXPECT_TRUE(logMentions(machine, "' not found in none of HKLM hives' caught"));
}

}  // namespace
