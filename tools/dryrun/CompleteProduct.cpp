// What a product's package is known to leave behind, from its type and version.
#include <windows.h>

#include <array>
#include <cstdio>
#include <regex>

#include "dryrun/Description.h"
#include "simulated/machine/Wide.h"

using simulated::fromUtf8;
using simulated::View;

namespace {

template <class... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), pattern, arguments...);
    return text.data();
}

struct Described {
    bool isKit = false;
    unsigned bits = 64;
    bool isLegacy = false;
    std::string versionText;
    std::string keyName;  ///< the version without its build, as it names the version key
    std::array<unsigned, 4> fileVersion = {};
    std::string code;
    std::string upgradeCode;
    std::string home;
};

/// Of the legacy scheme, 1.8.0_451-b10: the product code spells it.
bool readLegacy(Described& product) {
    static const std::regex form(R"((1\.(\d)\.(\d))(_(\d{1,3}))?(-b(\d{1,4}))?)");
    std::smatch match;
    product.isLegacy = std::regex_match(product.versionText, match, form);
    if (product.isLegacy) {
        const auto part = [&](int n) {
            return match[n].length() == 0 ? 0u : static_cast<unsigned>(std::stoul(match[n]));
        };
        product.keyName = match[1].str() + (part(5) == 0 ? "" : format("_%02u", part(5)));
        product.fileVersion = {part(2), part(3), part(5) * 10, part(7)};
        product.code = product.isKit ? format("{%uA3A4F4-B792-11D6-A78A-00B0D01%u%u000}",
                                              product.bits, part(2), part(3))
                                     : format("{26A24AE4-039D-4CA4-87B4-2F%u1%u%u%03uF0}",
                                              product.bits, part(2), part(3), part(5));
    }
    return product.isLegacy;
}

/// Of the Zentra scheme, 21.0.12.1+1: the upgrade code tells type, architecture and first number.
bool readZentra(Described& product) {
    static const std::regex form(R"(((9|\d\d)(\.\d{1,4}){0,5})(\+\d{1,4})?)");
    std::smatch match;
    if (!std::regex_match(product.versionText, match, form)) {
        return false;
    }
    product.keyName = std::regex_replace(match[1].str(), std::regex(R"((\.0+)+$)"), "");
    auto& [first, second, third, fourth] = product.fileVersion;
    std::sscanf(match[1].str().c_str(), "%u.%u.%u.%u", &first, &second, &third, &fourth);
    product.code = format("{%08X-2B0C-4B7E-9A55-%04u%02u%02u0000}",
                          static_cast<unsigned>(std::hash<std::string>()(product.versionText)),
                          product.bits, product.isKit ? 1u : 2u, first);
    product.upgradeCode = format(product.isKit ? "{%uA3A4F4-B792-11D6-A78A-00B0D02%04u0}"
                                               : "{57BDA5C6-443C-4D65-B233-28239%u2%04u}",
                                 product.bits, first);
    return true;
}

Described readProduct(const Node& node) {
    Described product;
    const Node type = node.has("type") ? node["type"] : node;
    if (type.json() != "QVR" && type.json() != "QVK") {
        type.refuse("\"type\" of \"QVR\" or \"QVK\" beside \"version\"");
    }
    product.isKit = type.json() == "QVK";
    node.with("bits", [&](const Node& bits) { product.bits = bits.number(64) == 32 ? 32 : 64; });
    product.versionText = node.has("version") ? node["version"].utf8() : "";
    if (!readLegacy(product) && !readZentra(product)) {
        node.refuse("\"version\" such as \"1.8.0_451-b10\" or \"21.0.12.1+1\"",
                    '"' + product.versionText + '"');
    }
    product.home = std::string("C:\\Program Files") + (product.bits == 64 ? "" : " (x86)") +
                   "\\Norv\\" + (product.isKit ? "QVK-" : "QVR-") + product.keyName;
    node.with("home", [&](const Node& home) {
        product.home = simulated::toUtf8(pathOf(home, home.utf8()));
    });
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
            volumes.addFile(path, contentOfSize(0));
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

}  // namespace

simulated::Product completeProduct(const Node& node, DescribedMachine& described) {
    const Described product = readProduct(node);
    arrange(node, [&] { addFiles(product, described); });
    addVersionKey(product, described);
    simulated::Product result{};
    result.code = fromUtf8(product.code);
    result.upgradeCode = fromUtf8(product.upgradeCode);
    result.properties = {
        {u"InstallLocation", fromUtf8(product.home + "\\")},
        {u"ProductName", fromUtf8((product.isKit ? "Norv Core Development Kit " : "Norv Runtime ") +
                                  product.versionText)}};
    result.package.table(u"Property", {u"Property", u"Value"})
        .row({u"FullVersion", fromUtf8(product.versionText)});
    result.package.table(u"Component", {u"Component", u"ComponentId"});
    return result;
}
