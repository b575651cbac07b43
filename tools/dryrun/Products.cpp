// What a product's package leaves behind, told by its type and version, and its removal.
#include <windows.h>

#include <array>
#include <cstdio>
#include <regex>

#include "dryrun/Description.h"
#include "simulated/machine/Wide.h"

using simulated::fromUtf8;
using simulated::sameText;
using simulated::View;

namespace {

template <class... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), pattern, arguments...);
    return text.data();
}

struct Described {
    bool isKit;
    bool isLegacy;
    unsigned bits = 64;
    std::string version;
    std::string keyName;  ///< the version without its build, as it names the version key
    std::array<unsigned, 4> fileVersion;
    std::string code;
    std::string upgradeCode;
    std::string home;
};

/// The number of a part of a version; 0 of one that isn't there.
unsigned numberOf(const std::string& part) {
    return part.empty() ? 0 : static_cast<unsigned>(std::stoul(part));
}

/// Whether a version has one of the two schemes; what it tells of the product then.
bool readVersion(Described& product) {
    // The legacy scheme, 1.8.0_451-b10: the product code spells it. The Zentra scheme, 21.0.12.1+1:
    // the upgrade code tells type, architecture and first number.
    static const std::regex legacy(R"((1\.(\d)\.(\d))(?:_(\d{1,3}))?(?:-b(\d{1,4}))?)");
    static const std::regex zentra(
        R"(((9|\d\d)(?:\.(\d{1,4}))?(?:\.(\d{1,4}))?(?:\.(\d{1,4}))?(?:\.\d{1,4}){0,2})(?:\+\d{1,4})?)");
    std::smatch match;
    product.isLegacy = std::regex_match(product.version, match, legacy);
    if (!product.isLegacy && !std::regex_match(product.version, match, zentra)) {
        return false;
    }
    const unsigned first = numberOf(match[2]), second = numberOf(match[3]);
    const unsigned third = numberOf(match[4]), fourth = numberOf(match[5]);
    if (product.isLegacy) {
        product.keyName = match[1].str() + (third == 0 ? "" : format("_%02u", third));
        product.fileVersion = {first, second, third * 10, fourth};
        product.code = product.isKit ? format("{%uA3A4F4-B792-11D6-A78A-00B0D01%u%u000}",
                                              product.bits, first, second)
                                     : format("{26A24AE4-039D-4CA4-87B4-2F%u1%u%u%03uF0}",
                                              product.bits, first, second, third);
    } else {
        product.keyName = std::regex_replace(match[1].str(), std::regex(R"((\.0+)+$)"), "");
        product.fileVersion = {first, second, third, fourth};
        product.code = format("{%08X-2B0C-4B7E-9A55-%04u%02u%02u0000}",
                              static_cast<unsigned>(std::hash<std::string>()(product.version)),
                              product.bits, product.isKit ? 1u : 2u, first);
        product.upgradeCode = format(product.isKit ? "{%uA3A4F4-B792-11D6-A78A-00B0D02%04u0}"
                                                   : "{57BDA5C6-443C-4D65-B233-28239%u2%04u}",
                                     product.bits, first);
    }
    return true;
}

Described readProduct(const Node& node) {
    Described product = {};
    const Node type = node.has("type") ? node["type"] : node;
    if (type.json() != "QVR" && type.json() != "QVK") {
        type.refuse("\"type\" of \"QVR\" or \"QVK\" beside \"version\"");
    }
    product.isKit = type.json() == "QVK";
    product.bits = node.has("bits") && node["bits"].number(64) == 32 ? 32 : 64;
    product.version = node.has("version") ? node["version"].utf8() : "";
    if (!readVersion(product)) {
        node.refuse("\"version\" such as \"1.8.0_451-b10\" or \"21.0.12.1+1\"",
                    '"' + product.version + '"');
    }
    product.home = node.has("home")
                       ? simulated::toUtf8(pathOf(node["home"], node["home"].utf8()))
                       : std::string("C:\\Program Files") + (product.bits == 64 ? "" : " (x86)") +
                             "\\Norv\\" + (product.isKit ? "QVK-" : "QVR-") + product.keyName;
    return product;
}

void addFiles(const Described& product, DescribedMachine& described) {
    simulated::Volumes& volumes = described.machine.volumes;
    const std::string runtime = product.isKit && product.isLegacy ? "qvr\\bin\\" : "bin\\";
    const std::string bridge = product.bits == 64                      ? "-64"
                               : described.machine.facts.is64BitSystem ? "-32"
                                                                       : "";
    for (const std::string& name :
         {std::string("bin\\norv.exe"), std::string("bin\\norvw.exe"),
          std::string(product.isKit ? "bin\\norvc.exe" : "bin\\norvcpl.exe"),
          runtime + "alinkswitch.exe", runtime + "WindowsAssistLink" + bridge + ".dll"}) {
        const std::u16string path = fromUtf8(product.home + "\\" + name);
        if (!volumes.exists(path)) {
            volumes.addFile(path);
            const auto number = [&](int i) { return static_cast<WORD>(product.fileVersion[i]); };
            volumes.setVersion(path, number(0), number(1), number(2), number(3));
        }
    }
}

void addVersionKey(const Described& product, DescribedMachine& described) {
    const bool isInNode = product.bits == 32 && described.machine.facts.is64BitSystem;
    const char* const family =
        product.isLegacy ? (product.isKit ? "Norv Development Kit\\" : "Norv Runtime Environment\\")
                         : (product.isKit ? "QVK\\" : "QVR\\");
    const std::u16string key =
        fromUtf8(std::string("HKLM\\Software\\") + (isInNode ? "Wow6432Node\\" : "") +
                 "Halvorex\\" + family + product.keyName);
    simulated::RegistryStore& registry = described.machine.registry;
    if (!registry.getValue(View::Bits64, key, u"NorvHome")) {
        registry.setString(View::Bits64, key, u"NorvHome", fromUtf8(product.home));
        registry.setString(View::Bits64, key, u"RuntimeLib",
                           fromUtf8(product.home + "\\bin\\server\\norv.dll"));
        registry.setString(View::Bits64, key, u"MicroVersion",
                           fromUtf8(std::to_string(product.fileVersion[product.isLegacy ? 1 : 2])));
    }
}

std::u16string withoutSeparator(std::u16string path) {
    while (path.ends_with(u'\\')) {
        path.pop_back();
    }
    return path;
}

/// Deletes the version keys of a product; the legacy families' own copies of them stay.
void deleteVersionKeys(simulated::RegistryStore& registry, const std::u16string& vendor,
                       const std::u16string& home) {
    for (const std::u16string& family : registry.subkeys(View::Bits64, vendor)) {
        for (const std::u16string& version :
             registry.subkeys(View::Bits64, vendor + u'\\' + family)) {
            const std::u16string key = vendor + u'\\' + family + u'\\' + version;
            const auto named = registry.getString(View::Bits64, key, u"NorvHome");
            const bool isCopy = version.starts_with(u"1.") && version.rfind(u'.') == 1;
            if (!isCopy && named && sameText(withoutSeparator(*named), home)) {
                registry.deleteKey(View::Bits64, key);
            }
        }
    }
}

}  // namespace

void completeProduct(const Node& node, DescribedMachine& described, simulated::Product& product) {
    const Described known = readProduct(node);
    arrange(node, [&] { addFiles(known, described); });
    addVersionKey(known, described);
    if (product.code.empty()) {
        product.code = fromUtf8(known.code);
    }
    if (product.upgradeCode.empty()) {
        product.upgradeCode = fromUtf8(known.upgradeCode);
    }
    product.properties.insert(
        {{u"InstallLocation", fromUtf8(known.home + "\\")},
         {u"ProductName", fromUtf8((known.isKit ? "Norv Core Development Kit " : "Norv Runtime ") +
                                   known.version)}});
    if (!node.has("package")) {
        product.package.table(u"Property", {u"Property", u"Value"})
            .row({u"FullVersion", fromUtf8(known.version)});
    }
}

bool removeProduct(DescribedMachine& described, const std::string& code) {
    simulated::Machine& machine = described.machine;
    simulated::Product* const product = machine.installer.product(fromUtf8(code));
    if (product == nullptr) {
        return false;
    }
    const std::u16string home = withoutSeparator(product->properties[u"InstallLocation"]);
    for (const std::u16string software : {u"HKLM\\Software\\", u"HKLM\\Software\\Wow6432Node\\"}) {
        deleteVersionKeys(machine.registry, software + u"Halvorex", home);
        machine.registry.deleteKey(
            View::Bits64,
            software + u"Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + product->code);
    }
    if (home.size() > 3 && machine.volumes.exists(home)) {
        machine.volumes.remove(home);
    }
    return machine.installer.removeProduct(fromUtf8(code));
}
