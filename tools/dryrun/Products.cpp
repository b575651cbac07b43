// What a product's package leaves behind, told by its type and version, and its removal.
#include <windows.h>
#include <zlib.h>

#include <array>
#include <cstdio>
#include <regex>

#include "dryrun/Description.h"
#include "simulated/machine/Wide.h"

using simulated::fromUtf8;

namespace {

constexpr std::size_t kMostVersion = 64;

template <class... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), pattern, arguments...);
    return text.data();
}

/// A number that is the same wherever the program was built.
unsigned checksumOf(const std::string& text) {
    return static_cast<unsigned>(
        crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
}

/// What the version tells. The codes of the legacy scheme, 1.8.0_451-b10, spell it; in the Zentra
/// scheme, 21.0.12.1+1, the upgrade code tells type, architecture and first number.
struct Told {
    bool isLegacy;
    std::string keyName;  ///< the version without its build, as it names the version key
    std::array<unsigned, 4> fileVersion;
    std::string code;
    std::string upgradeCode = {};
};

std::optional<Told> toldBy(const std::string& version, bool isKit, unsigned bits) {
    static const std::regex legacy(R"((1\.(\d)\.(\d))(?:_(\d{1,3}))?(?:-b(\d{1,4}))?)");
    static const std::regex zentra(
        R"(((9|\d\d)(?:\.(\d{1,4}))?(?:\.(\d{1,4}))?(?:\.(\d{1,4}))?(?:\.\d{1,4}){0,2})(?:\+\d{1,4})?)");
    std::smatch match;
    const bool isLegacy = std::regex_match(version, match, legacy);
    if (version.size() > kMostVersion || (!isLegacy && !std::regex_match(version, match, zentra))) {
        return std::nullopt;
    }
    const auto number = [&](std::size_t part) {
        return match[part].length() == 0 ? 0u : static_cast<unsigned>(std::stoul(match[part]));
    };
    const unsigned first = number(2), second = number(3), third = number(4), fourth = number(5);
    if (isLegacy) {
        return Told{true,
                    match[1].str() + (third == 0 ? "" : format("_%02u", third)),
                    {first, second, third * 10, fourth},
                    isKit ? format("{%uA3A4F4-B792-11D6-A78A-00B0D01%u%u000}", bits, first, second)
                          : format("{26A24AE4-039D-4CA4-87B4-2F%u1%u%u%03uF0}", bits, first, second,
                                   third)};
    }
    return Told{false,
                std::regex_replace(match[1].str(), std::regex(R"((\.0+)+$)"), ""),
                {first, second, third, fourth},
                format("{%08X-2B0C-4B7E-9A55-%04u%02u%02u0000}", checksumOf(version), bits,
                       isKit ? 1u : 2u, first),
                format(isKit ? "{%uA3A4F4-B792-11D6-A78A-00B0D02%04u0}"
                             : "{57BDA5C6-443C-4D65-B233-28239%u2%04u}",
                       bits, first)};
}

std::string foldedPath(std::string path) {
    while (path.ends_with('\\')) {
        path.pop_back();
    }
    return foldedName(path);
}

/// Whether a key is the version key of a product in this home; the legacy families' own copies of
/// it, whose names are short, are none.
bool isVersionKey(const std::string& key, const Json& values, const std::string& home) {
    static const std::regex copy(R"(.*\\1\.[^.]*)");
    const auto named = values.find("NorvHome");
    return named != values.end() && named->is_string() && foldedPath(*named) == home &&
           key.starts_with("HKLM") && !std::regex_match(key, copy);
}

/// What a product's package leaves behind is derived from this.
struct UsualProduct {
    bool isKit;
    unsigned bits;
    bool is64BitSystem;
    std::string version;
    std::string home;
    Told told;
};

/// Whether the package provides command shims: a 64-bit kit from 11.0.8 on within 11, or from 15
/// on.
bool isShimAware(const UsualProduct& product) {
    const auto& [first, second, third, fourth] = product.told.fileVersion;
    const bool isLate11 = first == 11 && (second > 0 || third >= 8);
    return product.isKit && product.bits == 64 && !product.told.isLegacy &&
           (isLate11 || first >= 15);
}

Json usualFiles(const UsualProduct& product) {
    const auto& version = product.told.fileVersion;
    const std::string runtime = product.isKit && product.told.isLegacy ? "qvr\\bin\\" : "bin\\";
    const char* const bridge = product.bits == 64 ? "-64" : product.is64BitSystem ? "-32" : "";
    const Json facts = {
        {"version", format("%u.%u.%u.%u", version[0], version[1], version[2], version[3])}};
    Json files;
    for (const std::string& name :
         {std::string("bin\\norv.exe"), std::string("bin\\norvw.exe"),
          std::string(product.isKit ? "bin\\norvc.exe" : "bin\\norvcpl.exe"),
          runtime + "alinkswitch.exe", runtime + "WindowsAssistLink" + bridge + ".dll"}) {
        files[product.home + "\\" + name] = facts;
    }
    if (isShimAware(product)) {
        for (const char* name : {"norv.exe", "norvw.exe"}) {
            files[std::string("C:\\Program Files\\Common Files\\Dovrin\\Norv\\norvtmp\\") + name] =
                facts;
        }
    }
    return files;
}

Json usualKeys(const UsualProduct& product) {
    const std::string family =
        product.told.isLegacy
            ? (product.isKit ? "Norv Development Kit\\" : "Norv Runtime Environment\\")
            : (product.isKit ? "QVK\\" : "QVR\\");
    const std::string view = product.bits == 32 && product.is64BitSystem
                                 ? "HKLM\\Software\\Wow6432Node"
                                 : "HKLM\\Software";
    const unsigned micro = product.told.fileVersion[product.told.isLegacy ? 1 : 2];
    return {{view + "\\Halvorex\\" + family + product.told.keyName,
             {{"NorvHome", product.home},
              {"RuntimeLib", product.home + "\\bin\\server\\norv.dll"},
              {"MicroVersion", std::to_string(micro)}}}};
}

std::string usualHome(const UsualProduct& product) {
    const bool isForeign = product.bits == 32 && product.is64BitSystem;
    return std::string("C:\\Program Files") + (isForeign ? " (x86)" : "") + "\\Norv\\" +
           (product.isKit ? "QVK-" : "QVR-") + product.told.keyName;
}

}  // namespace

Json usualProduct(const std::string& place, const Json& json, bool is64BitSystem) {
    if (!json.contains("type")) {
        refuse(place, R"("type" of "QVR" or "QVK" beside "version", "bits" and "home")", json);
    }
    UsualProduct product = {.isKit = json["type"] == "QVK",
                            .bits = json.value("bits", is64BitSystem ? 64u : 32u),
                            .is64BitSystem = is64BitSystem,
                            .version = json.value("version", ""),
                            .home = {},
                            .told = {}};
    if (product.bits == 64 && !is64BitSystem) {
        refuse(place + ".bits", "32, as Windows has", json["bits"]);
    }
    const std::optional<Told> told = toldBy(product.version, product.isKit, product.bits);
    if (!told) {
        refuse(place, R"("version" such as "1.8.0_451-b10" or "21.0.12.1+1")", product.version);
    }
    product.told = *told;
    product.home =
        json.contains("home") ? simulated::toUtf8(*pathOf(json["home"])) : usualHome(product);
    const std::string name = product.isKit ? "Norv Core Development Kit " : "Norv Runtime ";
    return {
        {"files", usualFiles(product)},
        {"registry", usualKeys(product)},
        {"products",
         {{{"code", told->code},
           {"upgradeCode", told->upgradeCode},
           {"info",
            {{"InstallLocation", product.home + "\\"}, {"ProductName", name + product.version}}},
           {"package", {{"properties", {{"FullVersion", product.version}}}}}}}}};
}

bool removeProduct(DescribedMachine& described, const std::string& code) {
    simulated::Machine& machine = described.machine;
    simulated::Product* const product = machine.installer.product(fromUtf8(code));
    if (product == nullptr) {
        return false;
    }
    const std::u16string location = product->properties[u"InstallLocation"];
    const std::string home = foldedPath(simulated::toUtf8(location));
    const std::string uninstallKey = foldedName("\\CurrentVersion\\Uninstall\\" + code);
    const Json before = writeWhole(described);
    for (const auto& [key, values] : before["registry"].items()) {
        if (isVersionKey(key, values, home) || foldedName(key).ends_with(uninstallKey)) {
            machine.registry.deleteKey(simulated::View::Bits64, fromUtf8(key));
        }
    }
    if (home.size() > 3 && machine.volumes.exists(location)) {
        machine.volumes.remove(location);
    }
    return machine.installer.removeProduct(fromUtf8(code));
}
