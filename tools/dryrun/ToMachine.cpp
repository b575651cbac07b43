// From a description to the machine.
#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <charconv>

#include "builders/ZipArchive.h"
#include "dryrun/Description.h"
#include "simulated/machine/Wide.h"
#include "simulated/machine/files/FilePath.h"
#include "simulated/machine/files/FileTree.h"

using simulated::fromUtf8;
using simulated::Machine;
using simulated::toUtf8;
using simulated::View;

namespace {

std::u16string wide(const Json& text) {
    return fromUtf8(text.get_ref<const std::string&>());
}

/// A member; an empty object if it isn't there.
const Json& memberOf(const Json& json, const char* name) {
    static const Json kNothing = Json::object();
    return json.contains(name) ? json[name] : kNothing;
}

/// Adds something to the machine; a failure is reported as a fault of the description at `place`.
template <class Put>
void arrange(const std::string& place, const Json& value, const Put& put) {
    try {
        put();
    } catch (const std::invalid_argument& e) {
        refuse(place, "what can stand on the machine", value, e.what());
    }
}

void addWindows(const Json& windows, simulated::Machine& machine) {
    simulated::Facts& facts = machine.facts;
    if (windows.value("bits", 64) == 32) {
        machine.become32Bit();
    }
    if (windows.contains("version")) {
        const auto version = *versionOf(windows["version"], 3);
        facts.version = {version[0], version[1], version[2]};
    }
    if (windows.contains("languages")) {
        facts.uiLanguages.clear();
        for (const Json& language : windows["languages"]) {
            facts.uiLanguages.push_back(wide(language));
        }
    }
}

void addProcess(const std::string& place, const Json& process, Machine& machine) {
    simulated::Facts& facts = machine.facts;
    facts.is64BitProcess = process.value("bits", facts.is64BitProcess ? 64 : 32) == 64;
    if (facts.is64BitProcess && !facts.is64BitSystem) {
        refuse(place + ": process.bits", "32, as Windows has", 64);
    }
    if (!process.value("administrator", true)) {
        machine.security.becomeOrdinaryUser();
    } else if (!process.value("elevated", true)) {
        machine.security.becomeFilteredAdministrator();
    }
    machine.security.elevated = process.value("elevated", machine.security.elevated);
    if (process.value("localSystem", false)) {
        machine.security.becomeLocalSystem();
    }
    for (const auto& [name, value] : memberOf(process, "environment").items()) {
        facts.environment[fromUtf8(name)] = wide(value);
    }
}

void addFolders(const std::string& place, const Json& folders, Machine& machine) {
    static const std::map<std::string, std::u16string simulated::Facts::*> kFacts = {
        {"windows", &simulated::Facts::windowsDirectory},
        {"system", &simulated::Facts::systemDirectory},
        {"wow64", &simulated::Facts::wow64Directory}};
    static const std::map<std::string, int> kShellFolders = {
        {"programFilesX86", CSIDL_PROGRAM_FILESX86},
        {"commonFiles", CSIDL_PROGRAM_FILES_COMMON},
        {"commonFilesX86", CSIDL_PROGRAM_FILES_COMMONX86},
        {"commonPrograms", CSIDL_COMMON_PROGRAMS}};
    for (const auto& [name, folder] : folders.items()) {
        const std::u16string path = *pathOf(folder);
        arrange(place + ": folders." + name, folder, [&] { machine.volumes.addDirectory(path); });
        if (const auto fact = kFacts.find(name); fact != kFacts.end()) {
            machine.facts.*fact->second = path;
        } else {
            machine.shell.setFolder(kShellFolders.at(name), path);
        }
    }
}

void addDrives(const Json& drives, Machine& machine) {
    for (const auto& [letter, type] : drives.items()) {
        if (letter != "C") {
            machine.volumes.addDrive(static_cast<char16_t>(letter[0]), *driveTypeOf(type));
        }
    }
}

void addValue(const std::u16string& key, const std::u16string& name, const Json& value,
              simulated::RegistryStore& registry) {
    if (value.is_string()) {
        registry.setString(View::Bits64, key, name, wide(value));
    } else if (value.is_number()) {
        registry.setNumber(View::Bits64, key, name, value);
    } else if (value.contains("expand")) {
        registry.setExpandString(View::Bits64, key, name, wide(value["expand"]));
    } else {
        registry.setValue(View::Bits64, key, name, value["type"], *bytesOf(value["hex"]));
    }
}

/// Deletes the values of a key that the machine has by default; a description has written none of
/// them.
void deleteDefaultValues(const std::string& key, DescribedMachine& described) {
    simulated::RegistryStore& registry = described.machine.registry;
    for (const std::u16string& name : registry.valueNames(View::Bits64, fromUtf8(key))) {
        if (!described.named.contains(foldedName(key, toUtf8(name)))) {
            registry.deleteValue(View::Bits64, fromUtf8(key), name);
        }
    }
}

void addRegistry(const std::string& place, const Json& keys, DescribedMachine& described) {
    simulated::RegistryStore& registry = described.machine.registry;
    for (const auto& [key, values] : keys.items()) {
        if (!described.machine.facts.is64BitSystem &&
            foldedName(key).find("\\WOW6432NODE") != std::string::npos) {
            refuse(place + ": registry", "no Wow6432Node on a Windows of 32 bits", key);
        }
        described.named.insert(foldedName(key));
        if (values.is_null()) {
            registry.deleteKey(View::Bits64, fromUtf8(key));
            continue;
        }
        registry.createKey(View::Bits64, fromUtf8(key));
        if (values.empty()) {
            deleteDefaultValues(key, described);
        }
        for (const auto& [name, value] : values.items()) {
            if (value.is_null()) {
                registry.deleteValue(View::Bits64, fromUtf8(key), fromUtf8(name));
            } else {
                addValue(fromUtf8(key), fromUtf8(name), value, registry);
            }
            described.named.insert(foldedName(key, name));
        }
    }
}

// ---- Files ----

simulated::ShellLink shortcutOf(const Json& json) {
    const auto text = [&](const char* name) { return fromUtf8(json.value(name, "")); };
    const std::string icon = json.value("icon", "");
    const std::size_t comma = std::min(icon.rfind(','), icon.size());
    simulated::ShellLink link = {.internet = json.value("internet", false),
                                 .target = text("target"),
                                 .arguments = text("arguments"),
                                 .description = text("description"),
                                 .icon = fromUtf8(icon.substr(0, comma))};
    std::from_chars(icon.data() + comma + (comma < icon.size()), icon.data() + icon.size(),
                    link.iconIndex);
    return link;
}

/// The bytes of a content, which is a text or {"hex": digits}.
std::string bytesOfContent(const Json& content) {
    if (content.is_string()) {
        return content;
    }
    const std::vector<std::uint8_t> bytes = *bytesOf(content["hex"]);
    return {bytes.begin(), bytes.end()};
}

/// Returns the content of a file as described.
std::string contentOf(const Json& file, DescribedMachine& described) {
    if (file.contains("text")) {
        return bytesOfContent(file["text"]);
    }
    if (file.contains("shortcut")) {
        return simulated::shellLinkText(shortcutOf(file["shortcut"]));
    }
    Json told = {{"size", file.value("size", std::uint64_t{0})}};
    std::string content = told["size"] == 0 ? "" : "file of bytes: " + told["size"].dump();
    if (file.contains("manifest")) {
        told["manifest"] = file["manifest"];
        content = zip_archive::make({{.name = "META-INF/MANIFEST.MF",
                                      .data = bytesOfContent(file["manifest"]),
                                      .stored = true}},
                                    content)
                      .bytes();
    }
    described.toldContents[content] = told;
    return content;
}

/// Mounts the share that a path is on.
void addShare(const std::u16string& path, Machine& machine) {
    const std::u16string volume = simulated::parsePath(path, u"C:\\").volume;
    if (volume.starts_with(u"\\\\") && !machine.fileSystem.volumes().contains(volume)) {
        machine.volumes.addShare(volume);
    }
}

/// The reparse buffer of a link: stored names begin with "\??\", which a path does not need.
std::string reparseBuffer(const Json& link) {
    if (link.is_object()) {
        return bytesOfContent(link);
    }
    const std::u16string kernelPrefix = u"\\??\\";
    const std::u16string name = wide(link);
    const bool isStored = name.starts_with(kernelPrefix);
    return simulated::linkBuffer(IO_REPARSE_TAG_MOUNT_POINT, isStored ? name : kernelPrefix + name,
                                 isStored ? name.substr(kernelPrefix.size()) : name);
}

void addFile(const std::string& name, const Json& file, DescribedMachine& described) {
    simulated::Volumes& volumes = described.machine.volumes;
    const std::u16string path = unlimitedPath(*pathOf(name));
    addShare(path, described.machine);
    described.named.insert(foldedName(name));
    if (file.is_null()) {
        if (volumes.exists(path)) {
            volumes.remove(path);
        }
        return;
    }
    if (name.ends_with('\\')) {
        volumes.addDirectory(path);
    } else {
        volumes.addFile(path, contentOf(file, described));
    }
    if (file.contains("link")) {
        volumes.setReparsePoint(path, reparseBuffer(file["link"]));
    }
    if (file.contains("version")) {
        const auto version = *versionOf(file["version"], 4);
        volumes.setVersion(path, version[0], version[1], version[2], version[3]);
    }
    volumes.setReadOnly(path, file.value("readOnly", false));
    if (file.value("inUse", false)) {
        volumes.lockAsProgram(path);
    }
}

void addFiles(const std::string& place, const Json& files, DescribedMachine& described) {
    for (const auto& [name, file] : files.items()) {
        arrange(place + ": files." + name, file,
                [&, &path = name, &facts = file] { addFile(path, facts, described); });
    }
}

// ---- Products ----

simulated::Package packageOf(const Json& json) {
    simulated::Package package;
    package.unreadable(json.value("status", 0u));
    simulated::Table& properties = package.table(u"Property", {u"Property", u"Value"});
    for (const auto& [name, value] : memberOf(json, "properties").items()) {
        properties.row({fromUtf8(name), wide(value)});
    }
    simulated::Table& components = package.table(u"Component", {u"Component", u"ComponentId"});
    for (const auto& [name, id] : memberOf(json, "components").items()) {
        components.row({fromUtf8(name), wide(id)});
    }
    if (json.contains("upgrade")) {
        simulated::Table& upgrade = package.table(u"Upgrade", {u"ActionProperty"});
        for (const Json& property : json["upgrade"]) {
            upgrade.row({wide(property)});
        }
    }
    return package;
}

void addProduct(const std::string& place, const Json& json, DescribedMachine& described) {
    simulated::Product product = {.code = wide(json["code"]),
                                  .upgradeCode = fromUtf8(json.value("upgradeCode", "")),
                                  .package = packageOf(memberOf(json, "package"))};
    for (const auto& [name, value] : memberOf(json, "info").items()) {
        product.properties[fromUtf8(name)] = wide(value);
    }
    if (json.contains("package") && json["package"].contains("path")) {
        product.properties[u"LocalPackage"] = wide(json["package"]["path"]);
    }
    // An entry of nothing but a code is listed by the installer once more.
    if (described.machine.installer.product(product.code) != nullptr && json.size() > 1) {
        refuse(place, "each product once", json, json["code"].get<std::string>() + " again");
    }
    described.machine.installer.addProduct(std::move(product));
}

/// Adds a product with what follows from its type and version, except for what is described
/// already.
void addUsualProduct(const std::string& place, const Json& json, DescribedMachine& described) {
    Json usual = usualProduct(place, json, described.machine.facts.is64BitSystem);
    std::erase_if(usual["files"].get_ref<Json::object_t&>(), [&](const auto& file) {
        return described.machine.volumes.exists(fromUtf8(file.first));
    });
    std::erase_if(usual["registry"].get_ref<Json::object_t&>(), [&](const auto& key) {
        return described.machine.registry.getValue(View::Bits64, fromUtf8(key.first), u"NorvHome");
    });
    addFiles(place, usual["files"], described);
    addRegistry(place, usual["registry"], described);
    Json& product = usual["products"][0];
    if (json.contains("package")) {
        product.erase("package");
    }
    product.merge_patch(json);
    addProduct(place, product, described);
}

/// Whether nothing of a product is left to its type and version.
bool isDescribedWhole(const Json& product) {
    return product.contains("code") && !product.contains("type") && !product.contains("version") &&
           !product.contains("bits") && !product.contains("home");
}

}  // namespace

void addDescription(DescribedMachine& described, const std::string& place,
                    const Json& description) {
    Machine& machine = described.machine;
    machine.volumes.addDirectory(*machine.shell.folder(CSIDL_COMMON_PROGRAMS));
    addWindows(memberOf(description, "windows"), machine);
    addProcess(place, memberOf(description, "process"), machine);
    addDrives(memberOf(description, "drives"), machine);
    addFolders(place, memberOf(description, "folders"), machine);
    machine.volumes.restrictToAdministrators(*machine.shell.folder(CSIDL_COMMON_PROGRAMS));
    addRegistry(place, memberOf(description, "registry"), described);
    addFiles(place, memberOf(description, "files"), described);
    for (std::size_t i = 0; i < memberOf(description, "products").size(); ++i) {
        const Json& product = description["products"][i];
        const std::string productPlace = place + ": products[" + std::to_string(i) + "]";
        if (isDescribedWhole(product)) {
            addProduct(productPlace, product, described);
        } else {
            addUsualProduct(productPlace, product, described);
        }
    }
    if (description.contains("package")) {
        described.package = packageOf(description["package"]);
    }
    for (const Json& move : memberOf(description, "atRestart")) {
        machine.fileSystem.delayMove(
            {.from = fromUtf8(move.value("from", "")), .to = fromUtf8(move.value("to", ""))});
    }
    for (const char* part : {"windows", "process", "drives", "folders", "package", "unread"}) {
        if (description.contains(part) && description[part].is_object()) {
            described.fixedParts[part].update(description[part], true);
        } else if (description.contains(part)) {
            described.fixedParts[part] = description[part];
        }
    }
}
