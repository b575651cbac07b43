// The usual product of a type and version as a description, and the removal of a product.
#include <windows.h>

#include <regex>

#include "builders/Product.h"
#include "dryrun/Description.h"
#include "simulated/machine/Wide.h"

using simulated::fromUtf8;
using simulated::toUtf8;

namespace {

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

Json jsonOf(const family::Texts& texts) {
    Json json = Json::object();
    for (const auto& [name, text] : texts) {
        json[toUtf8(name)] = toUtf8(text);
    }
    return json;
}

Json usualFiles(const family::Product& product) {
    std::string version;
    for (const std::uint16_t number : product.fileVersion) {
        version += (version.empty() ? "" : ".") + std::to_string(number);
    }
    Json files;
    for (const std::u16string& file : product.files) {
        files[toUtf8(product.homeDir + u"\\" + file)] = {{"version", version}};
    }
    for (const std::u16string& path : product.stagedShims) {
        files[toUtf8(path)] = {{"version", version}};
    }
    return files;
}

Json usualKeys(const family::Product& product, bool is64BitSystem) {
    std::string key = toUtf8(product.versionKey);
    if (product.bits == 32 && is64BitSystem) {
        key.insert(std::string_view("HKLM\\Software\\").size(), "Wow6432Node\\");
    }
    return {{key, jsonOf(product.versionKeyValues)}};
}

}  // namespace

Json usualProduct(const std::string& place, const Json& json, bool is64BitSystem) {
    if (!json.contains("type")) {
        refuse(place, R"("type" of "QVR" or "QVK" beside "version", "bits" and "home")", json);
    }
    const unsigned bitsOfWindows = is64BitSystem ? 64 : 32;
    const unsigned bits = json.value("bits", bitsOfWindows);
    if (bits > bitsOfWindows) {
        refuse(place + ".bits", "32, as Windows has", json["bits"]);
    }
    const family::Kind kind = json["type"] == "QVK" ? family::Kind::Qvk : family::Kind::Qvr;
    const std::string version = json.value("version", "");
    std::optional<family::Product> product = family::productOf(kind, version, bits, bitsOfWindows);
    if (!product) {
        refuse(place, R"("version" such as "1.8.0_451-b10" or "21.0.12.1+1")", version);
    }
    if (json.contains("home")) {
        product->setHome(*pathOf(json["home"]));
    }
    return {{"files", usualFiles(*product)},
            {"registry", usualKeys(*product, is64BitSystem)},
            {"products",
             {{{"code", toUtf8(product->code)},
               {"upgradeCode", toUtf8(product->upgradeCode)},
               {"info", jsonOf(product->info)},
               {"package", {{"properties", jsonOf(product->packageProperties)}}}}}}};
}

bool removeProduct(DescribedMachine& described, const std::string& code) {
    simulated::Machine& machine = described.machine;
    simulated::Product* const product = machine.installer.product(fromUtf8(code));
    if (product == nullptr) {
        return false;
    }
    const std::u16string location = product->properties[u"InstallLocation"];
    const std::string home = foldedPath(toUtf8(location));
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
