// Whole detections on machines with products, whatever is wrong with them.
#include "windows/common/NorvEnvironment.h"

#include "builders/Product.h"
#include "common/share/tstrings.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using namespace family;
using namespace NorvEnvironment;
using simulated::View;
using tstrings::toUtf8;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kDetectAll =
    kDetectQvr | kDetectQvk | kDetectNorvGfx | kDetect32Bit | kDetect64Bit;

class NorvEnvironmentTest : public OnMachine {
protected:
    void install(const std::vector<Product>& products) {
        for (const Product& product : products) {
            family::install(machine, product);
        }
    }

    /// Returns "QVR64 1.8.0_45-b13" for each product that is detected.
    Lines found(std::uint32_t mask = kDetectAll) const {
        const char* const types[] = {"QVR", "QVK", "GFX"};
        Lines result;
        for (const InstalledNorv& product : NorvEnvironment::detect(mask)) {
            result.push_back(types[product.type] + std::to_string(product.bits) + " " +
                             toUtf8(sourceText(product.version)));
        }
        EXPECT_TRUE(machine.installer.openHandles().empty());
        return result;
    }

    static std::string failure() {
        return thrownText([] { NorvEnvironment::detect(kDetectAll); });
    }
};

/// A product of each type, found by its code or by its upgrade code.
class NorvEnvironmentOfMany : public NorvEnvironmentTest {
protected:
    NorvEnvironmentOfMany() {
        Product tooNew = qvr("18");
        tooNew.upgradeCode = u"{57BDA5C6-443C-4D65-B233-282396420100}";
        install({qvr("99"), qvr("9"), qvk("17", 32), graphics("2.2.0"), qvr("1.8.0_45-b13"),
                 qvk("1.7.0_80-b15", 32), tooNew});
    }
};

TEST_F(NorvEnvironmentOfMany, FindsProductsByTheirCodesThenByUpgradeCodes) {
    EXPECT_EQ(found(kDetectQvr | kDetect32Bit | kDetect64Bit),
              (Lines{"QVR64 1.8.0_45-b13", "QVR64 9", "QVR64 99"}));
    EXPECT_EQ(found(kDetectQvk | kDetect32Bit), (Lines{"QVK32 1.7.0_80-b15", "QVK32 17"}));
}

TEST_F(NorvEnvironmentOfMany, FindsNothingOfATypeOrArchitectureThatIsNotSelected) {
    EXPECT_EQ(found(kDetectNorvGfx | kDetect32Bit), Lines()) << "the graphics product has 64 bits";
    EXPECT_EQ(found(kDetectQvr | kDetectQvk | kDetectNorvGfx), Lines()) << "no architecture";
    EXPECT_EQ(found(kDetect32Bit | kDetect64Bit), Lines()) << "no type";
}

TEST_F(NorvEnvironmentOfMany, LeavesOutAProductWhoseCodeCannotBeRead) {
    machine.calls.failCall("IIDFromString", 1);
    EXPECT_EQ(found(kDetectQvr | kDetect32Bit | kDetect64Bit), (Lines{"QVR64 9", "QVR64 99"}));
}

TEST_F(NorvEnvironmentOfMany, SearchesNo64BitUpgradeCodesOnA32BitWindows) {
    machine.facts.is64BitSystem = false;
    EXPECT_EQ(found(),
              (Lines{"GFX64 2.2.0", "QVR64 1.8.0_45-b13", "QVK32 1.7.0_80-b15", "QVK32 17"}));
}

TEST_F(NorvEnvironmentTest, LogsAProductThatIsTrackedTwiceAndListsItOnce) {
    Product twice = qvr("1.8.0_451-b10");
    twice.upgradeCode = qvr("23").upgradeCode;
    install({qvr("23"), twice});
    EXPECT_EQ(found(), (Lines{"QVR64 1.8.0_451-b10", "QVR64 23"}));
    EXPECT_TRUE(logMentions(machine, "-2F64180451F0}] is tracked multiple times"));
}

TEST_F(NorvEnvironmentTest, EndsWhenTheInstallerRefusesEachIndexAfterADamagedEntry) {
    install({qvr("1.8.0_451-b10")});
    machine.calls.failCall("MsiEnumProductsW", 1, 1610);
    EXPECT_EQ(failure(), "MsiEnumProducts(255) failed with error=[87]");
    EXPECT_TRUE(logHas(machine, "MsiEnumProducts(0) failed with error=[1610] \nIgnored."));
    EXPECT_TRUE(logHas(machine, "MsiEnumProducts(1) failed with error=[87] \nIgnored."));
    EXPECT_TRUE(logHas(machine, "MsiEnumProducts(255) failed with error=[87] \nIgnored."));
}

TEST_F(NorvEnvironmentTest, EndsWhenTheListOfAnUpgradeCodeCannotBeRead) {
    machine.calls.failCall("MsiEnumRelatedProductsW", 3, 1610);
    EXPECT_EQ(failure(),
              "MsiEnumRelatedProducts({57BDA5C6-443C-4D65-B233-282393220011}, 1) failed with "
              "error=[1610]");
}

TEST_F(NorvEnvironmentTest, EndsAtACodeWhoseDigitsAreNoVersionOfItsType) {
    machine.installer.addProduct({u"{26A24AE4-039D-4CA4-87B4-2F64222000F0}", {}, {}, {}});
    EXPECT_EQ(failure(), "2.2.2 is not recognized as a legacy Norv version string");
}

TEST_F(NorvEnvironmentTest, LogsEachStepAndTheProduct) {
    Product runtime = qvr("1.8.0_45-b13");
    runtime.packageProperties[u"Enterprise"] = u"YES";
    runtime.versionKeyValues[u"MSI\\MODE"] = u"s";
    install({runtime});
    EXPECT_NE(NorvEnvironment::detect(kDetectAll).at(0).uninstaller, nullptr);
    Lines trace = logMessages(machine, "TRACE");
    trace.pop_back();
    EXPECT_EQ(trace,
              (Lines{
                  "Entering NorvEnvironment::detect",
                  "Installed Norv detected: version=1.8.0_045; arch=64; "
                  "productCode={26A24AE4-039D-4CA4-87B4-2F64180045F0}; type=0",
                  "Find home dir of {26A24AE4-039D-4CA4-87B4-2F64180045F0} Norv installation",
                  "Detect full version of {26A24AE4-039D-4CA4-87B4-2F64180045F0} Norv installation",
                  "detectFullVersionFromMsi({26A24AE4-039D-4CA4-87B4-2F64180045F0})",
                  "Detect mode of {26A24AE4-039D-4CA4-87B4-2F64180045F0} Norv installation",
                  "InstalledNorv(1.8.0_45-b13|1.8.0_45-b13|QVR|64bit|C:\\Program Files\\Norv\\"
                  "QVR-1.8.0_45|{26A24AE4-039D-4CA4-87B4-2F64180045F0}|20|"
                  "8bbecd4ed503b09a088275b45e323bdb1fab34031e8c5c3b2b26e5e6e96c7636)",
              }));
}

const std::string kChecksum(64, 'a');

TEST_F(NorvEnvironmentTest, ReadsModeAndChecksum) {
    Product runtime = qvr("1.8.0_45-b13");
    runtime.packageProperties[u"BaseimageChecksumSHA256"] = tstrings::fromUtf8(kChecksum);
    runtime.versionKeyValues[u"MSI\\MODE"] = u"static";
    install({runtime});
    const InstalledNorv product = NorvEnvironment::detect(kDetectAll).at(0);
    EXPECT_EQ(product.mode, InstalledNorv::kModeStandard) << "only S means static";
    EXPECT_EQ(toUtf8(product.baseimageChecksum), kChecksum);
}

TEST_F(NorvEnvironmentTest, LogsAChecksumThatIsNone) {
    Product runtime = qvr("1.8.0_45-b13");
    runtime.packageProperties[u"BaseimageChecksumSHA256"] = u"0";
    install({runtime});
    EXPECT_EQ(found(), Lines{"QVR64 1.8.0_45-b13"});
    EXPECT_TRUE(logMentions(machine, "Unexpected length of "));
}

/// Returns the product with another value of a property of its package.
Product with(Product product, const tstring& property, const tstring& value) {
    product.packageProperties[property] = value;
    return product;
}

/// Returns the product with another version in the manifest of its archive.
Product named(Product product, const char16_t* manifest) {
    product.manifestVersion = manifest;
    return product;
}

Product withoutFiles(Product product) {
    product.files.clear();
    return product;
}

struct VersionSource {
    const char* name;
    Product product;
    const char* found;
    const char* logged = "";  ///< a part of the log
};

TEST_F(NorvEnvironmentTest, CompletesVersions) {
    const Product legacy = qvr("1.8.0_45-b13");
    const Product unnamed = with(legacy, u"FullVersion", u"");
    const VersionSource rows[] = {
        {.name = "the launcher's, if the package has none",
         .product = unnamed,
         .found = "QVR64 1.8.0_45-b13",
         .logged = "detectFullVersionFromHomeDir("},
        {.name = "no launcher either",
         .product = withoutFiles(unnamed),
         .found = "QVR64 1.8.0_045",
         .logged = "InstalledNorv(1.8.0_45|Full version unknown|QVR|64bit|"},
        {.name = "a property that is no version",
         .product = with(legacy, u"FullVersion", u"1.8"),
         .found = "QVR64 1.8.0_45-b13",
         .logged = "The string is too short' caught"},
        {.name = "a property of another family",
         .product = with(legacy, u"FullVersion", u"1.7.0_80-b15"),
         .found = "QVR64 1.7.0_80-b15",
         .logged = "{26A24AE4-039D-4CA4-87B4-2F64180045F0}: Given version is [1.8.0_045]; Value of "
                   "\"FullVersion\" MSI property is [1.7.0_80-b15]. Should have the same family."},
        {.name = "the older property",
         .product = with(unnamed, u"QVK_VERSION", u"1.8.0_45-b14"),
         .found = "QVR64 1.8.0_45-b14"},
        {.name = "another version in the manifest",
         .product = named(legacy, u"1.8.0_301-b09"),
         .found = "QVR64 1.8.0_301-b09",
         .logged = " Detected version mapping from 1.8.0_045 to 1.8.0_301-b09 in "
                   "{26A24AE4-039D-4CA4-87B4-2F64180045F0} Norv installation."},
        {.name = "another build in the manifest",
         .product = named(legacy, u"1.8.0_45-b99"),
         .found = "QVR64 1.8.0_45-b13"},
        {.name = "the manifest of a kit",
         .product = named(qvk("1.8.0-b13"), u"1.9.0-b1"),
         .found = "QVK64 1.8.0-b13",
         .logged = "|QVK|64bit|"},
        {.name = "a manifest of the other scheme",
         .product = named(qvr("11.0.2+9"), u"17"),
         .found = "QVR64 11.0.2+9",
         .logged = "unknown version tag"},
        {.name = "a graphics product without the property",
         .product = with(graphics("2.2.0"), u"FullVersion", u""),
         .found = "GFX64 2.2.0",
         .logged = "InstalledNorv(2.2.0|2.2.0|NORV_GFX|64bit|"},
    };
    for (const VersionSource& row : rows) {
        SCOPED_TRACE(row.name);
        family::install(machine, row.product);
        EXPECT_EQ(found(), Lines{row.found});
        EXPECT_TRUE(logMentions(machine, row.logged)) << row.logged;
        family::uninstall(machine, row.product);
        clearLog(machine);
    }
}

TEST_F(NorvEnvironmentTest, LeavesOutAProductOfTheNewSchemeWithoutAFullVersion) {
    install({with(qvr("11.0.2+9"), u"FullVersion", u"")});
    EXPECT_EQ(found(), Lines());
    EXPECT_TRUE(logMentions(machine, "unknown version tag"));
}

TEST_F(NorvEnvironmentTest, LogsSourcesOfAVersionThatCannotBeRead) {
    const Product legacy = qvr("1.8.0_45-b13");
    install({legacy});
    machine.installer.product(legacy.code)->package.unreadable(1627);
    machine.volumes.addFile(legacy.homeDir + u"\\lib\\rt.vkr", "no archive");
    machine.volumes.setVersion(legacy.homeDir + u"\\bin\\norv.exe", 8, 1, 450, 13);
    EXPECT_EQ(found(), Lines{"QVR64 1.8.0_045"});
    EXPECT_TRUE(logMentions(machine, "ZIP_Open("));
    EXPECT_TRUE(logMentions(
        machine, "\\bin\\norv.exe is [8.1.450.13]. Unexpected components in file version."));
}

/// A kit in C:\kit whose sources of a home directory are what a test says.
class NorvEnvironmentHome : public NorvEnvironmentTest {
protected:
    NorvEnvironmentHome() {
        kit.setHome(u"C:\\kit");
        kit.info.clear();
        kit.versionKeyValues[u"NorvHome"] = u"";
        machine.volumes.setCurrentDirectory(u"C:\\");
    }

    void installKit() { family::install(machine, kit); }
    void setUninstallValue(const tstring& name, const tstring& value, View view = View::Bits64) {
        machine.registry.setString(view, key, name, value);
    }
    static tstring home() { return NorvEnvironment::detect(kDetectAll).at(0).homeDir; }

    Product kit = qvk("1.8.0-b13");
    const tstring key =
        u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + kit.code;
};

struct HomeSources {
    const char* name;
    tstring installLocation = {}, productIcon = {};  ///< of the installer
    tstring displayIcon = {}, readme = {};           ///< of the Uninstall key
    tstring norvHome = {};                           ///< of the version key
    tstring found = u"C:\\kit";
};

TEST_F(NorvEnvironmentHome, IsFoundByTheFirstSourceThatLeadsToOne) {
    const HomeSources rows[] = {
        {.name = "the install location, whether or not it exists",
         .installLocation = u"X:\\gone\\\\/",
         .found = u"X:\\gone"},
        {.name = "the package's icon", .productIcon = u"C:\\kit/lib/icons/a.ico//"},
        {.name = "the Uninstall key's icon", .displayIcon = u"C:\\kit\\bin\\norv.exe,0"},
        {.name = "the package's icon hides that of the key, right or wrong",
         .productIcon = u"C:\\Windows\\x.ico",
         .displayIcon = u"C:\\kit\\bin\\norv.exe",
         .norvHome = u"D:\\k",
         .found = u"D:\\k"},
        {.name = "the Uninstall key's readme", .readme = u"C:\\kit\\readme.txt"},
        {.name = "a path without a drive", .displayIcon = u"\\kit\\bin", .found = u"\\kit"},
        {.name = "relative paths are none",
         .displayIcon = u"kit\\bin",
         .readme = u"C:",
         .norvHome = u"D:\\k\\",
         .found = u"D:\\k"},
    };
    for (const HomeSources& row : rows) {
        SCOPED_TRACE(row.name);
        kit.info = {{u"InstallLocation", row.installLocation}, {u"ProductIcon", row.productIcon}};
        kit.versionKeyValues[u"NorvHome"] = row.norvHome;
        installKit();
        setUninstallValue(u"DisplayIcon", row.displayIcon);
        setUninstallValue(u"Readme", row.readme);
        EXPECT_EQ(toUtf8(home()), toUtf8(row.found));
        family::uninstall(machine, kit);
    }
}

TEST_F(NorvEnvironmentHome, OfAKitHasACompiler) {
    kit.versionKeyValues[u"NorvHome"] = u"D:\\k";
    installKit();
    setUninstallValue(u"DisplayIcon", u"C:\\kit\\bin\\norv.exe");
    machine.volumes.remove(u"C:\\kit\\bin\\norvc.exe");
    machine.volumes.addDirectory(u"C:\\kit\\bin\\norvc.exe");
    EXPECT_EQ(home(), u"D:\\k");
}

TEST_F(NorvEnvironmentHome, IsFoundByTheUninstallKeyOfThe64BitView) {
    installKit();
    setUninstallValue(u"DisplayIcon", u"C:\\kit\\bin");
    setUninstallValue(u"DisplayIcon", u"C:\\other", View::Bits32);
    EXPECT_EQ(home(), u"C:\\kit");
    EXPECT_TRUE(logMentions(
        machine, "] exists in both 32bit and 64bit HKLM registry hives. Use from 64bit hive."));
}

TEST_F(NorvEnvironmentHome, NeedsAnUninstallKey) {
    installKit();
    machine.registry.deleteKey(View::Bits64, key);
    EXPECT_EQ(found(), Lines());
    EXPECT_TRUE(logMentions(machine, "' not found in none of HKLM hives' caught"));
}

TEST_F(NorvEnvironmentHome, IsSearchedWithARecordForEachSource) {
    installKit();
    home();
    for (const std::string source : {"ProductIcon] product property", "DisplayIcon] registry value",
                                     "Readme] registry value", "NorvHome] registry value"}) {
        EXPECT_TRUE(logMentions(machine, "Try home directory from [" + source + " of {"));
    }
}

/// Three products, and the check of their list.
class NorvEnvironmentVerifier : public NorvEnvironmentTest {
protected:
    NorvEnvironmentVerifier() {
        install({qvr("9", 32), qvk("11.0.2+9"), graphics("2.2.0")});
        products = NorvEnvironment::detect(kDetectAll);
    }
    std::string complaint() const {
        return thrownText([&] { verifier(products); });
    }

    std::vector<InstalledNorv> products;
    InstalledNorvsVerifier verifier;
};

TEST_F(NorvEnvironmentVerifier, RefusesEmptyAndEqualProductCodes) {
    products[1].productCode = products[2].productCode;
    EXPECT_EQ(complaint(), "duplicated product codes");
    products[1].productCode = Guid();
    EXPECT_EQ(complaint(), "empty product code");
    verifier.checkProductCodes = false;
    EXPECT_EQ(complaint(), "nothing");
    products[2].productCode = Guid();
    EXPECT_EQ(complaint(), "duplicated product codes");
    verifier.checkDuplicates = false;
    EXPECT_EQ(complaint(), "nothing");
}

TEST_F(NorvEnvironmentVerifier, RefusesAnEmptyHome) {
    products[0].homeDir.clear();
    EXPECT_EQ(complaint(), "empty home dir");
    verifier.checkHomeDirs = false;
    EXPECT_EQ(complaint(), "nothing");
}

TEST_F(NorvEnvironmentVerifier, RefusesOtherTypesAndArchitectures) {
    verifier.allowedTypes = {Bundle::kQvr, Bundle::kQvk};
    EXPECT_EQ(complaint(), "unexpected types");
    verifier.allowedTypes.push_back(Bundle::kNorvGfx);
    EXPECT_EQ(complaint(), "nothing");
    verifier.allowedBits = {64};
    EXPECT_EQ(complaint(), "unexpected archs");
}

}  // namespace
