// Whole detections on machines with products, whatever is wrong with them.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Products.h"
#include "support/Thrown.h"
#include "windows/common/NorvEnvironment.h"

namespace {

using products::gfx;
using products::Product;
using products::qvk;
using products::qvr;
using simulated::View;
using tstrings::toUtf8;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kAll = 0x37;

class Detection : public testing::Test {
protected:
    std::vector<InstalledNorv> detect(std::uint32_t mask = kAll) {
        auto result = NorvEnvironment::detect(mask);
        EXPECT_TRUE(machine.installer.openHandles().empty());
        EXPECT_TRUE(machine.handles.open().empty());
        return result;
    }

    /// "QVR64 1.8.0_45-b13" for each product.
    Lines list(std::uint32_t mask = kAll) {
        Lines lines;
        for (const InstalledNorv& product : detect(mask)) {
            const char* const types[] = {"QVR", "QVK", "GFX"};
            lines.push_back(types[product.type] + std::to_string(product.bits) + " " +
                            toUtf8(sourceText(product.version)));
        }
        return lines;
    }

    /// The one product, after it has been installed; removes it again.
    InstalledNorv detectOne(const Product& product) {
        products::install(machine, product);
        const auto found = detect();
        products::uninstall(machine, product);
        EXPECT_LE(found.size(), 1u);
        return found.empty() ? InstalledNorv() : found[0];
    }

    simulated::Machine machine;
    simulated::Running running{machine};
};

TEST_F(Detection, FindsTheClassesThatTheMaskSelects) {
    EXPECT_EQ(list(), Lines());
    for (const Product& product :
         {qvk(u"11.0.2+9"), qvr(u"1.8.0_45-b13"), gfx(u"2.2.0"), qvr(u"1.8.0_301-b09", 32),
          qvr(u"17", 32), qvk(u"1.7.0_80-b15", 32), qvk(u"21-ea+35")}) {
        products::install(machine, product);
    }
    machine.installer.addProduct({u"{12345678-0000-0000-0000-000000000000}", {}, {}, {}});
    const Lines all = {"QVR64 1.8.0_45-b13", "GFX64 2.2.0", "QVR32 1.8.0_301-b09",
                       "QVK32 1.7.0_80-b15", "QVR32 17",    "QVK64 11.0.2+9",
                       "QVK64 21-ea+35"};
    const std::pair<std::uint32_t, std::vector<int>> cases[] = {{0x37, {0, 1, 2, 3, 4, 5, 6}},
                                                                {0x33, {0, 2, 3, 4, 5, 6}},
                                                                {0x31, {0, 2, 4}},
                                                                {0x22, {5, 6}},
                                                                {0x24, {1}},
                                                                {0x14, {}},
                                                                {0x07, {}},
                                                                {0x30, {}}};
    for (const auto& [mask, found] : cases) {
        Lines expected;
        for (const int index : found) {
            expected.push_back(all[static_cast<std::size_t>(index)]);
        }
        EXPECT_EQ(list(mask), expected) << mask;
    }
}

TEST_F(Detection, TellsAllOfAProduct) {
    Product runtime = qvr(u"1.8.0_45-b13");
    runtime.packageProperties[u"BaseimageChecksumSHA256"] = std::u16string(64, u'a');
    runtime.versionKeyValues[u"MSI\\MODE"] = u"s";
    const InstalledNorv found = detectOne(runtime);
    EXPECT_EQ(found.mode, InstalledNorv::kModeStatic);
    EXPECT_EQ(found.productCode.toString(), runtime.code);
    EXPECT_EQ(found.homeDir, runtime.homeDir);
    EXPECT_NE(found.uninstaller, nullptr);
    EXPECT_EQ(found.version.precision(), 8u);

    const std::string code = toUtf8(runtime.code);
    const std::string home = toUtf8(runtime.homeDir);
    const Lines expected = {
        "Entering NorvEnvironment::detect",
        "Installed Norv detected: version=1.8.0_045; arch=64; productCode=" + code + "; type=0",
        "Find home dir of " + code + " Norv installation",
        "Detect full version of " + code + " Norv installation",
        "detectFullVersionFromMsi(" + code + ")",
        "Detect mode of " + code + " Norv installation",
        "InstalledNorv(1.8.0_45-b13|1.8.0_45-b13|QVR|64bit|" + home + "|" + code + "|20|" +
            std::string(64, 'a') + ")",
    };
    Lines trace = logMessages(machine, "TRACE");
    ASSERT_EQ(trace.size(), expected.size() + 1);
    EXPECT_TRUE(trace.back().starts_with("Exiting NorvEnvironment::detect (entered at "));
    trace.pop_back();
    EXPECT_EQ(trace, expected);
}

TEST_F(Detection, CompletesVersionsByFallBacks) {
    const Product legacy = qvr(u"1.8.0_45-b13");
    const Product zentra = qvr(u"11.0.2+9");
    const struct {
        Product product;
        const char16_t* fullVersion;  ///< of the package; empty for none, null as installed
        std::optional<std::u16string> manifest;
        const char* version;  ///< source text and precision; "/8" when the product is left out
        const char* record;   ///< a piece of the log
    } cases[] = {
        {legacy, nullptr, {}, "1.8.0_45-b13/8", "detectFullVersionFromMsi("},
        {legacy, u"", {}, "1.8.0_45-b13/8", "detectFullVersionFromHomeDir("},
        {legacy,
         u"1.8",
         {},
         "1.8.0_45-b13/8",
         "[1.8] version string. The string is too short' caught"},
        {legacy,
         u"1.7.0_80-b15",
         {},
         "1.7.0_80-b15/8",
         "{26A24AE4-039D-4CA4-87B4-2F64180045F0}: Given version is [1.8.0_045]; Value of "
         "\"FullVersion\" MSI property is [1.7.0_80-b15]. Should have the same family."},
        {legacy, nullptr, u"1.8.0_301-b09", "1.8.0_301-b09/8",
         " Detected version mapping from 1.8.0_045 to 1.8.0_301-b09 in "
         "{26A24AE4-039D-4CA4-87B4-2F64180045F0} Norv installation."},
        {legacy, nullptr, u"1.8.0_45-b99", "1.8.0_45-b13/8", ""},
        {legacy, nullptr, u"next", "1.8.0_45-b13/8", "Number of unrecognized characters is 4"},
        {qvk(u"1.8.0-b13"), nullptr, u"1.9.0-b1", "1.8.0-b13/8", ""},
        {zentra, nullptr, u"17", "11.0.2+9/8", "unknown version tag"},
        {zentra, u"", {}, "/8", "unknown version tag"},
        {gfx(u"2.2.0"), u"", {}, "2.2.0/8", ""},
    };
    const auto version = [&](const Product& product) {
        const InstalledNorv found = detectOne(product);
        return toUtf8(sourceText(found.version)) + "/" + std::to_string(found.version.precision());
    };
    for (const auto& c : cases) {
        Product product = c.product;
        if (c.fullVersion != nullptr) {
            product.packageProperties[u"FullVersion"] = c.fullVersion;
        }
        product.manifestVersion = c.manifest;
        EXPECT_EQ(version(product), c.version);
        EXPECT_TRUE(logMentions(machine, c.record)) << c.record;
        clearLog(machine);
    }
    Product other = legacy;
    other.packageProperties = {{u"QVK_VERSION", u"1.8.0_45-b14"}};
    EXPECT_EQ(version(other), "1.8.0_45-b14/8");
    other.packageProperties.clear();
    other.hasFiles = false;
    EXPECT_EQ(version(other), "1.8.0_045/4");
    EXPECT_TRUE(logMentions(machine, "InstalledNorv(1.8.0_45|Full version unknown|QVR|64bit|"));
}

TEST_F(Detection, GoesOnWhenAPackageOrAnArchiveIsDamaged) {
    const Product product = qvr(u"1.8.0_45-b13");
    const struct {
        std::function<void(simulated::Package&)> damage;
        const char* version;
        const char* record;
    } cases[] = {
        {[](auto& package) { package.unreadable(1627); }, "1.8.0_45-b13",
         ", MSIDBOPEN_READONLY) failed. MSI error [1627]"},
        {[&](auto&) { machine.volumes.addFile(product.homeDir + u"\\lib\\rt.vkr", "no archive"); },
         "1.8.0_45-b13", "ZIP_Open("},
        {[&](auto& package) {
             package = {};
             machine.volumes.setVersion(product.homeDir + u"\\bin\\norv.exe", 8, 1, 450, 13);
         },
         "1.8.0_45", "\\bin\\norv.exe is [8.1.450.13]. Unexpected components in file version."},
    };
    for (const auto& c : cases) {
        products::install(machine, product);
        c.damage(machine.installer.product(product.code)->package);
        const auto found = detect();
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(toUtf8(toString(found[0].version)), c.version);
        EXPECT_TRUE(logMentions(machine, c.record)) << c.record;
        products::uninstall(machine, product);
        clearLog(machine);
    }
}

TEST_F(Detection, SearchesTheHomeDirectory) {
    const std::u16string uninstallKeys =
        u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
    // The product's own directory is "C:\Program Files\Norv\<name>"; HOME stands for it.
    const struct {
        const char16_t* location;
        const char16_t* productIcon;
        const char16_t* displayIcon;
        const char16_t* readme;
        const char16_t* norvHome;
        const char16_t* found;
    } cases[] = {
        {u"X:\\gone\\\\/", u"", u"", u"", u"", u"X:\\gone"},
        {u"", u"HOME\\bin\\norv.exe", u"", u"", u"", u"HOME"},
        {u"", u"HOME\\\\", u"", u"", u"", u"HOME"},
        {u"", u"HOME/lib/icons/a.ico", u"", u"", u"", u"HOME"},
        {u"", u"", u"HOME\\bin\\norv.exe,0", u"", u"", u"HOME"},
        // The icon of the package hides that of the key, right or wrong.
        {u"", u"C:\\Windows\\x.ico", u"HOME\\bin\\norv.exe", u"", u"D:\\k", u"D:\\k"},
        {u"", u"", u"", u"HOME\\readme.txt", u"", u"HOME"},
        {u"", u"bin\\norv.exe", u"", u"C:", u"D:\\k\\", u"D:\\k"},
        {u"", u"\\", u"", u"C:/", u"k", u"k"},
        {u"", u"", u"", u"", u"", u""},
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
    EXPECT_TRUE(
        logMentions(machine, "Unexpected empty value of [InstallLocation] product property of "));
    EXPECT_TRUE(logMentions(machine, "Try home directory from [NorvHome] registry value of "));

    // A kit has a compiler.
    Product kit = qvk(u"1.8.0-b13");
    kit.info = {{u"ProductIcon", kit.homeDir + u"\\bin\\norv.exe"}};
    products::install(machine, kit);
    machine.volumes.remove(kit.homeDir + u"\\bin\\norvc.exe");
    machine.volumes.addDirectory(kit.homeDir + u"\\bin\\norvc.exe");
    machine.registry.setString(View::Bits64, products::versionKey(kit), u"NorvHome", u"D:\\kit");
    ASSERT_EQ(detect().size(), 1u);
    EXPECT_EQ(detect()[0].homeDir, u"D:\\kit");

    // The 64-bit view of the Uninstall key wins.
    machine.registry.setString(View::Bits32, uninstallKeys + kit.code, u"Readme", u"C:\\x");
    detect();
    EXPECT_TRUE(
        logHas(machine, "Registry key [SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" +
                            toUtf8(kit.code) +
                            "] exists in both 32bit and 64bit HKLM registry hives. Use from 64bit "
                            "hive."));
    machine.registry.deleteKey(View::Bits32, uninstallKeys + kit.code);
    machine.registry.deleteKey(View::Bits64, uninstallKeys + kit.code);
    machine.installer.product(kit.code)->properties.clear();
    EXPECT_TRUE(detect().empty());
    EXPECT_TRUE(logMentions(machine, "' not found in none of HKLM hives' caught"));
}

TEST_F(Detection, ChecksModeAndChecksum) {
    const std::u16string good(64, u'0');
    const struct {
        std::u16string mode;
        std::u16string enterprise;
        std::u16string checksum;
        std::int32_t expectedMode;
        std::u16string expectedChecksum;
    } cases[] = {
        {u"S", u"", good, 20, good},
        {u"static", u"no", u"", 10, u""},
        {u"", u"YES", u"not looked at", 10,
         u"8bbecd4ed503b09a088275b45e323bdb1fab34031e8c5c3b2b26e5e6e96c7636"},
        {u"", u"", good.substr(1), 10, u""},
        {u"", u"", std::u16string(64, u'A'), 10, u""},
    };
    for (const auto& c : cases) {
        Product product = qvr(u"17.0.1+1", 32);
        product.versionKeyValues[u"MSI\\MODE"] = c.mode;
        product.packageProperties[u"Enterprise"] = c.enterprise;
        product.packageProperties[u"BaseimageChecksumSHA256"] = c.checksum;
        const InstalledNorv found = detectOne(product);
        EXPECT_EQ(found.mode, c.expectedMode);
        EXPECT_EQ(found.baseimageChecksum, c.expectedChecksum);
    }
    EXPECT_TRUE(logMentions(machine, "Unexpected length of "));
    EXPECT_TRUE(logMentions(machine, "Illegal character in "));
    EXPECT_EQ(detectOne(qvk(u"17")).mode, InstalledNorv::kModeNotDetected);
}

TEST_F(Detection, LeavesAProductOutAndEndsWithTheList) {
    products::install(machine, qvr(u"1.8.0_45-b13"));
    products::install(machine, qvk(u"17"));
    // "StringFromGUID2" has already been asked for upgrade codes; the first product needs a GUID.
    machine.calls.failCall("IIDFromString", 1);
    EXPECT_EQ(list(), Lines{"QVK64 17"});
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 1u);
    machine.calls.failAll("MsiEnumRelatedProductsW");
    EXPECT_THROW(NorvEnvironment::detect(kAll), std::runtime_error);
}

}  // namespace
