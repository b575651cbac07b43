// Whole detections on machines with products, whatever is wrong with them.
#include "builders/Product.h"
#include "common/share/tstrings.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/NorvEnvironment.h"

namespace {

using namespace family;
using namespace NorvEnvironment;
using simulated::View;
using tstrings::fromUtf8;
using tstrings::toUtf8;
using Lines = std::vector<std::string>;

template <class Product>
std::string kindOf(const Product& product) {
    const char* const types[] = {"QVR", "QVK", "GFX"};
    return types[product.type] + std::to_string(product.bits) + " ";
}

constexpr std::uint32_t kDetectAll =
    kDetectQvr | kDetectQvk | kDetectNorvGfx | kDetect32Bit | kDetect64Bit;

class Detection : public OnMachine {
protected:
    /// "QVR64 1.8.0_45-b13/8|" for each product, with the precision, or what is thrown.
    std::string list(std::uint32_t mask = kDetectAll) {
        std::string result;
        const std::string thrown = thrownText([&] {
            for (const InstalledNorv& product : NorvEnvironment::detect(mask)) {
                result += kindOf(product) + toUtf8(sourceText(product.version)) + "/" +
                          std::to_string(product.version.precision()) + "|";
            }
        });
        EXPECT_TRUE(machine.installer.openHandles().empty());
        return thrown == "nothing" ? result : thrown;
    }
};

/// A product of each type, found by its code or by its upgrade code.
class DetectionOfMany : public Detection {
protected:
    DetectionOfMany() {
        Product tooNew = qvr("18");
        tooNew.upgradeCode = u"{57BDA5C6-443C-4D65-B233-282396420100}";
        for (const Product& product : {qvr("99"), qvr("9"), qvk("17", 32), graphics("2.2.0"),
                                       qvr("1.8.0_45-b13"), qvk("1.7.0_80-b15", 32), tooNew}) {
            family::install(machine, product);
        }
    }
};

TEST_F(DetectionOfMany, FindsProductsByTheirCodesThenByUpgradeCodes) {
    EXPECT_EQ(list(kDetectQvr | kDetect32Bit | kDetect64Bit),
              "QVR64 1.8.0_45-b13/8|QVR64 9/8|QVR64 99/8|");
    EXPECT_EQ(list(kDetectQvk | kDetect32Bit), "QVK32 1.7.0_80-b15/8|QVK32 17/8|");
}

TEST_F(DetectionOfMany, FindsNothingOfATypeOrArchitectureThatIsNotSelected) {
    EXPECT_EQ(list(kDetectNorvGfx | kDetect32Bit), "") << "the graphics product has 64 bits";
    EXPECT_EQ(list(kDetectQvr | kDetectQvk | kDetectNorvGfx), "") << "no architecture";
    EXPECT_EQ(list(kDetect32Bit | kDetect64Bit), "") << "no type";
}

TEST_F(DetectionOfMany, LeavesOutAProductWhoseCodeCannotBeRead) {
    machine.calls.failCall("IIDFromString", 1);
    EXPECT_EQ(list(kDetectQvr | kDetect32Bit | kDetect64Bit), "QVR64 9/8|QVR64 99/8|");
}

TEST_F(DetectionOfMany, SearchesNo64BitUpgradeCodesOnA32BitWindows) {
    machine.facts.is64BitSystem = false;
    EXPECT_EQ(list(), "GFX64 2.2.0/8|QVR64 1.8.0_45-b13/8|QVK32 1.7.0_80-b15/8|QVK32 17/8|");
}

TEST_F(Detection, LogsAProductThatIsTrackedTwiceAndListsItOnce) {
    family::install(machine, qvr("23"));
    Product twice = qvr("1.8.0_451-b10");
    twice.upgradeCode = qvr("23").upgradeCode;
    family::install(machine, twice);
    EXPECT_EQ(list(), "QVR64 1.8.0_451-b10/8|QVR64 23/8|");
    EXPECT_TRUE(logMentions(machine, "-2F64180451F0}] is tracked multiple times"));
}

TEST_F(Detection, EndsWhenTheInstallerRefusesEachIndexAfterADamagedEntry) {
    family::install(machine, qvr("1.8.0_451-b10"));
    machine.calls.failCall("MsiEnumProductsW", 1, 1610);
    EXPECT_EQ(list(), "MsiEnumProducts(255) failed with error=[87]");
    EXPECT_TRUE(logHas(machine, "MsiEnumProducts(0) failed with error=[1610] \nIgnored."));
    EXPECT_TRUE(logHas(machine, "MsiEnumProducts(1) failed with error=[87] \nIgnored."));
    EXPECT_TRUE(logHas(machine, "MsiEnumProducts(255) failed with error=[87] \nIgnored."));
}

TEST_F(Detection, EndsWhenTheListOfAnUpgradeCodeCannotBeRead) {
    machine.calls.failCall("MsiEnumRelatedProductsW", 3, 1610);
    EXPECT_EQ(list(),
              "MsiEnumRelatedProducts({57BDA5C6-443C-4D65-B233-282393220011}, 1) failed with "
              "error=[1610]");
}

TEST_F(Detection, EndsAtACodeWhoseDigitsAreNoVersionOfItsType) {
    machine.installer.addProduct({u"{26A24AE4-039D-4CA4-87B4-2F64222000F0}", {}, {}, {}});
    EXPECT_EQ(list(), "2.2.2 is not recognized as a legacy Norv version string");
}

TEST_F(Detection, TellsAllOfAProduct) {
    Product runtime = qvr("1.8.0_45-b13");
    runtime.packageProperties[u"Enterprise"] = u"YES";
    runtime.versionKeyValues[u"MSI\\MODE"] = u"s";
    family::install(machine, runtime);
    EXPECT_NE(NorvEnvironment::detect(kDetectAll).at(0).uninstaller, nullptr);
    const std::string code = toUtf8(runtime.code);
    Lines trace = logMessages(machine, "TRACE");
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
    const Product legacy = qvr("1.8.0_45-b13");
    const auto with = [](Product product, const tstring& property, const tstring& value) {
        product.packageProperties[property] = value;
        return product;
    };
    const auto named = [](Product product, const char16_t* manifest) {
        product.manifestVersion = manifest;
        return product;
    };
    const tstring full = u"FullVersion";
    const Product unnamed = with(legacy, full, u"");
    Product bare = unnamed;
    bare.files.clear();
    Product sealed = with(legacy, u"BaseimageChecksumSHA256", tstring(64, u'a'));
    sealed.versionKeyValues[u"MSI\\MODE"] = u"static";
    const struct {
        Product product;
        std::string found;   ///< after "QVR64 "
        std::string record;  ///< a part of the log
    } cases[] = {
        {sealed, "1.8.0_45-b13/8|", "|10|" + std::string(64, 'a') + ")"},
        {with(legacy, u"BaseimageChecksumSHA256", u"0"), "1.8.0_45-b13/8|",
         "Unexpected length of "},
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
        {named(qvk("1.8.0-b13"), u"1.9.0-b1"), "1.8.0-b13/8|", "|QVK|64bit|"},
        {named(qvr("11.0.2+9"), u"17"), "11.0.2+9/8|", "unknown version tag"},
        {with(qvr("11.0.2+9"), full, u""), "", "unknown version tag"},
        {with(graphics("2.2.0"), full, u""), "2.2.0/8|",
         "InstalledNorv(2.2.0|2.2.0|NORV_GFX|64bit|"},
    };
    for (const auto& [product, found, record] : cases) {
        SCOPED_TRACE(record);
        family::install(machine, product);
        EXPECT_EQ(list().erase(0, 6), found);
        EXPECT_TRUE(logMentions(machine, record)) << record;
        family::uninstall(machine, product);
        clearLog(machine);
    }
    family::install(machine, legacy);
    machine.installer.product(legacy.code)->package.unreadable(1627);
    machine.volumes.addFile(legacy.homeDir + u"\\lib\\rt.vkr", "no archive");
    machine.volumes.setVersion(legacy.homeDir + u"\\bin\\norv.exe", 8, 1, 450, 13);
    EXPECT_EQ(list(), "QVR64 1.8.0_045/4|");
    EXPECT_TRUE(logMentions(machine, "ZIP_Open("));
    EXPECT_TRUE(logMentions(
        machine, "\\bin\\norv.exe is [8.1.450.13]. Unexpected components in file version."));
}

TEST_F(Detection, SearchesTheHomeDirectory) {
    // HOME stands for the product's own directory, C:\\kit.
    machine.volumes.setCurrentDirectory(u"C:\\");
    const struct {
        const char* name;
        tstring installLocation = {}, productIcon = {}, displayIcon = {}, readme = {};
        tstring norvHome = {};
        tstring found;
    } cases[] = {
        {.name = "the install location, whether or not it exists",
         .installLocation = u"X:\\gone\\\\/",
         .found = u"X:\\gone"},
        {.name = "the directory of the package's icon",
         .productIcon = u"HOME/lib/icons/a.ico//",
         .found = u"HOME"},
        {.name = "the directory of the Uninstall key's icon",
         .displayIcon = u"HOME\\bin\\norv.exe,0",
         .found = u"HOME"},
        {.name = "the package's icon hides that of the key, right or wrong",
         .productIcon = u"C:\\Windows\\x.ico",
         .displayIcon = u"HOME\\bin\\norv.exe",
         .norvHome = u"D:\\k",
         .found = u"D:\\k"},
        {.name = "the directory of the Uninstall key's readme",
         .readme = u"HOME\\readme.txt",
         .found = u"HOME"},
        {.name = "a path without a drive", .displayIcon = u"\\kit\\bin", .found = u"\\kit"},
        {.name = "relative paths are none",
         .displayIcon = u"kit\\bin",
         .readme = u"C:",
         .norvHome = u"D:\\k\\",
         .found = u"D:\\k"},
    };
    Product kit = qvk("1.8.0-b13");
    kit.homeDir = u"C:\\kit";
    const tstring key =
        u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + kit.code;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto text = [&](const tstring& pattern) {
            return tstrings::replace(pattern, u"HOME", kit.homeDir);
        };
        kit.info = {{u"InstallLocation", text(c.installLocation)},
                    {u"ProductIcon", text(c.productIcon)}};
        kit.versionKeyValues[u"NorvHome"] = text(c.norvHome);
        family::install(machine, kit);
        machine.registry.setString(View::Bits64, key, u"DisplayIcon", text(c.displayIcon));
        machine.registry.setString(View::Bits64, key, u"Readme", text(c.readme));
        EXPECT_EQ(toUtf8(NorvEnvironment::detect(kDetectAll).at(0).homeDir), toUtf8(text(c.found)));
        family::uninstall(machine, kit);
    }
    // A kit has a compiler, and the 64-bit view of the Uninstall key wins.
    kit.info = {{u"ProductIcon", kit.homeDir + u"\\bin\\norv.exe"}};
    family::install(machine, kit);
    machine.volumes.remove(kit.homeDir + u"\\bin\\norvc.exe");
    machine.volumes.addDirectory(kit.homeDir + u"\\bin\\norvc.exe");
    machine.registry.setString(View::Bits32, key, u"Readme", u"C:\\x");
    EXPECT_EQ(NorvEnvironment::detect(kDetectAll).at(0).homeDir, u"D:\\k");
    EXPECT_TRUE(logMentions(
        machine, "] exists in both 32bit and 64bit HKLM registry hives. Use from 64bit hive."));
    machine.registry.deleteKey(View::Bits32, key);
    machine.registry.deleteKey(View::Bits64, key);
    EXPECT_EQ(list(), "");
    EXPECT_TRUE(logMentions(machine, "' not found in none of HKLM hives' caught"));
    for (const std::string source : {"ProductIcon] product property", "DisplayIcon] registry value",
                                     "Readme] registry value", "NorvHome] registry value"}) {
        EXPECT_TRUE(logMentions(machine, "Try home directory from [" + source + " of {"));
    }
}

}  // namespace
