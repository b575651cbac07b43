#include "builders/Product.h"

#include <cstdio>
#include <regex>

#include "builders/ZipArchive.h"
#include "simulated/machine/Wide.h"

namespace family {

namespace {

using simulated::fromUtf8;
using simulated::toUtf8;
using simulated::View;

constexpr std::size_t kMaxVersion = 64;

const std::u16string kUninstallKeys =
    u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

template <class... Arguments>
std::u16string format(const char* pattern, Arguments... arguments) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), pattern, arguments...);
    return fromUtf8(text.data());
}

/// The numbers of a version and the name of its version key, read independently of the library.
struct Version {
    bool isLegacy;
    std::u16string keyName;
    std::array<unsigned, 5>
        numbers;  ///< "1.8.0_45-b13" is 1, 8, 0, 45, 13; "11.0.2+9" is 11, 0, 2, 0, 9
};

/// Whether `version` is one that a product of this kind can have.
bool matches(Kind kind, const std::string& version, std::smatch& parts, bool& isLegacy) {
    static const std::regex legacy(R"((1)\.(\d)\.(\d)(?:_(\d{1,3}))?(?:-b(\d{1,4}))?)");
    static const std::regex zentra(
        R"((9|\d\d)(?:\.(\d{1,4}))?(?:\.(\d{1,4}))?(?:\.(\d{1,4}))?(?:\.\d{1,4}){0,2}(?:\+(\d{1,4}))?)");
    static const std::regex graphics(R"((2)\.(2)\.(\d))");
    if (version.size() > kMaxVersion) {
        return false;
    }
    if (kind == Kind::Graphics) {
        isLegacy = true;
        return std::regex_match(version, parts, graphics);
    }
    isLegacy = std::regex_match(version, parts, legacy);
    return isLegacy || std::regex_match(version, parts, zentra);
}

std::optional<Version> read(Kind kind, const std::string& text) {
    std::smatch parts;
    Version version = {};
    if (!matches(kind, text, parts, version.isLegacy)) {
        return std::nullopt;
    }
    for (std::size_t i = 1; i < parts.size(); ++i) {
        version.numbers[i - 1] =
            parts[i].length() == 0 ? 0 : static_cast<unsigned>(std::stoul(parts[i]));
    }
    const auto& [major, minor, micro, update, build] = version.numbers;
    if (version.isLegacy) {
        version.keyName =
            format("%u.%u.%u", major, minor, micro) + (update == 0 ? u"" : format("_%02u", update));
    } else {
        const std::string withoutBuild = text.substr(0, text.find('+'));
        version.keyName = fromUtf8(std::regex_replace(withoutBuild, std::regex(R"((\.0+)+$)"), ""));
    }
    return version;
}

/// The product code. Those of the legacy scheme contain the version; the ones of the Zentra scheme
/// are arbitrary, but the same in each run.
std::u16string codeOf(Kind kind, const Version& version, const std::string& text, unsigned bits) {
    const auto& [major, minor, micro, update, build] = version.numbers;
    if (kind == Kind::Graphics) {
        return format("{1111706F-666A-4037-7777-%u%u%u%u8764D10}", major, minor, micro, bits);
    }
    if (!version.isLegacy) {
        return format("{%08X-2B0C-4B7E-9A55-%04u%02u%02u0000}", zip_archive::crc32Of(text), bits,
                      kind == Kind::Qvk ? 1u : 2u, major);
    }
    return kind == Kind::Qvk
               ? format("{%uA3A4F4-B792-11D6-A78A-00B0D0%u%u%u000}", bits, major, minor, micro)
               : format("{26A24AE4-039D-4CA4-87B4-2F%u%u%u%u%03uF0}", bits, major, minor, micro,
                        update);
}

std::u16string upgradeCodeOf(Kind kind, const Version& version, unsigned bits) {
    if (version.isLegacy) {
        return u"";
    }
    return format(kind == Kind::Qvk ? "{%uA3A4F4-B792-11D6-A78A-00B0D02%04u0}"
                                    : "{57BDA5C6-443C-4D65-B233-28239%u2%04u}",
                  bits, version.numbers[0]);
}

std::u16string versionKeyOf(Kind kind, const Version& version) {
    const std::u16string runtime = version.isLegacy ? u"Norv Runtime Environment\\" : u"QVR\\";
    const std::u16string kit = version.isLegacy ? u"Norv Development Kit\\" : u"QVK\\";
    return u"HKLM\\Software\\Halvorex\\" + (kind == Kind::Qvk ? kit : runtime) + version.keyName;
}

/// The launchers, the control panel or the compiler, and the assist link. A kit of the legacy
/// scheme has its runtime in a directory of its own.
std::vector<std::u16string> filesOf(Kind kind, const Version& version, unsigned bits,
                                    unsigned bitsOfWindows) {
    const bool isKit = kind == Kind::Qvk;
    const std::u16string runtime = isKit && version.isLegacy ? u"qvr\\bin\\" : u"bin\\";
    const std::u16string suffix = bits == 64 ? u"-64" : bitsOfWindows == 64 ? u"-32" : u"";
    return {u"bin\\norv.exe", u"bin\\norvw.exe", isKit ? u"bin\\norvc.exe" : u"bin\\norvcpl.exe",
            runtime + u"alinkswitch.exe", runtime + u"WindowsAssistLink" + suffix + u".dll"};
}

std::vector<std::u16string> stagedShimsOf(Kind kind, const Version& version, unsigned bits) {
    const auto& [major, minor, micro, update, build] = version.numbers;
    const bool isLate11 = major == 11 && (minor > 0 || micro >= 8);
    if (kind != Kind::Qvk || bits != 64 || (!isLate11 && major < 15)) {
        return {};
    }
    const std::u16string staging = u"C:\\Program Files\\Common Files\\Dovrin\\Norv\\norvtmp\\";
    return {staging + u"norv.exe", staging + u"norvw.exe"};
}

/// 1.8.0_45-b13 is the file version 8.0.450.13.
std::array<std::uint16_t, 4> fileVersionOf(const Version& version) {
    const auto number = [&](std::size_t i) {
        return static_cast<std::uint16_t>(version.numbers[i]);
    };
    if (!version.isLegacy) {
        return {number(0), number(1), number(2), number(3)};
    }
    return {number(1), number(2), static_cast<std::uint16_t>(number(3) * 10), number(4)};
}

void installFiles(simulated::Machine& machine, const Product& product) {
    const auto& [first, second, third, fourth] = product.fileVersion;
    for (const std::u16string& file : product.files) {
        const std::u16string path = product.homeDir + u"\\" + file;
        machine.volumes.addFile(path, "of " + toUtf8(product.version));
        machine.volumes.setVersion(path, first, second, third, fourth);
    }
    if (product.manifestVersion) {
        const std::string manifest =
            "Manifest-Version: 1.0\r\nImplementation-Version: " + toUtf8(*product.manifestVersion) +
            "\r\n";
        machine.volumes.addFile(
            product.homeDir + u"\\lib\\rt.vkr",
            zip_archive::make({{.name = "META-INF/MANIFEST.MF", .data = manifest}}).bytes());
    }
}

simulated::Package packageOf(const Product& product) {
    simulated::Package package;
    auto& properties = package.table(u"Property", {u"Property", u"Value"});
    for (const auto& [name, value] : product.packageProperties) {
        properties.row({name, value});
    }
    auto& components = package.table(u"Component", {u"Component", u"ComponentId"});
    for (const auto& [name, id] : product.packageComponents) {
        components.row({name, id});
    }
    return package;
}

}  // namespace

void Product::setHome(const std::u16string& directory) {
    homeDir = directory;
    info[u"InstallLocation"] = directory + u"\\";
    if (!versionKey.empty()) {
        versionKeyValues[u"NorvHome"] = directory;
        versionKeyValues[u"RuntimeLib"] = directory + u"\\bin\\server\\norv.dll";
    }
}

View Product::view() const {
    return bits == 32 ? View::Bits32 : View::Bits64;
}

std::optional<Product> productOf(Kind kind, const std::string& text, unsigned bits,
                                 unsigned bitsOfWindows) {
    const std::optional<Version> version = read(kind, text);
    if (!version) {
        return std::nullopt;
    }
    const bool isKit = kind == Kind::Qvk;
    Product product = {};
    product.bits = bits;
    product.version = fromUtf8(text);
    product.code = codeOf(kind, *version, text, bits);
    product.upgradeCode = upgradeCodeOf(kind, *version, bits);
    if (kind != Kind::Graphics) {
        product.versionKey = versionKeyOf(kind, *version);
        product.versionKeyValues[u"MicroVersion"] = format("%u", version->numbers[2]);
    }
    product.info[u"ProductName"] =
        (isKit ? u"Norv Core Development Kit " : u"Norv Runtime ") + product.version;
    product.packageProperties[u"FullVersion"] = product.version;
    product.packageComponents[u"launcher"] = u"{00000000-0000-0000-0000-000000000001}";
    product.files = filesOf(kind, *version, bits, bitsOfWindows);
    product.stagedShims = stagedShimsOf(kind, *version, bits);
    product.fileVersion = fileVersionOf(*version);
    product.setHome((bits < bitsOfWindows ? u"C:\\Program Files (x86)" : u"C:\\Program Files") +
                    (isKit ? std::u16string(u"\\Norv\\QVK-") : u"\\Norv\\QVR-") + version->keyName);
    return product;
}

Product qvr(const std::string& version, unsigned bits, unsigned bitsOfWindows) {
    return productOf(Kind::Qvr, version, bits, bitsOfWindows).value();
}

Product qvk(const std::string& version, unsigned bits, unsigned bitsOfWindows) {
    return productOf(Kind::Qvk, version, bits, bitsOfWindows).value();
}

Product graphics(const std::string& version, unsigned bits) {
    return productOf(Kind::Graphics, version, bits, 64).value();
}

void install(simulated::Machine& machine, const Product& product) {
    installFiles(machine, product);
    for (const auto& [name, text] : product.versionKeyValues) {
        const std::u16string path = product.versionKey + u"\\" + name;
        const auto end = path.rfind(u'\\');
        machine.registry.setString(product.view(), path.substr(0, end), path.substr(end + 1), text);
    }
    machine.registry.setString(product.view(), kUninstallKeys + product.code, u"DisplayName",
                               u"Norv " + product.version);
    machine.installer.addProduct({.code = product.code,
                                  .properties = product.info,
                                  .upgradeCode = product.upgradeCode,
                                  .package = packageOf(product)});
}

void uninstall(simulated::Machine& machine, const Product& product) {
    machine.installer.removeProduct(product.code);
    machine.registry.deleteKey(product.view(), kUninstallKeys + product.code);
    if (!product.versionKey.empty()) {
        machine.registry.deleteKey(product.view(), product.versionKey);
    }
    if (machine.volumes.exists(product.homeDir)) {
        machine.volumes.remove(product.homeDir);
    }
}

}  // namespace family
