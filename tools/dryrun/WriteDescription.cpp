// From a machine to its description, and the facts that stand in the content of a simulated file.
#include <windows.h>
#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "RegistryValue.h"
#include "dryrun/Description.h"
#include "simulated/machine/VersionBlock.h"
#include "simulated/machine/Wide.h"

using simulated::FileNode;
using simulated::fromUtf8;
using simulated::toUtf8;

namespace {

constexpr std::string_view kSizeHead =
    "\x01"
    "file of bytes: ";
constexpr std::string_view kManifestName = "META-INF/MANIFEST.MF";
/// The length of an archive's local header in front of the name, and where its size stands.
constexpr std::size_t kLocalHeader = 30;
constexpr std::size_t kLocalSize = 22;

std::optional<std::string> losslessUtf8(const std::u16string& text) {
    std::string utf8 = toUtf8(text);
    return fromUtf8(utf8) == text ? std::optional(std::move(utf8)) : std::nullopt;
}

void writeKey(const simulated::RegistryKey& key, const std::string& path, Json& registry) {
    if (key.parent != nullptr && (!key.values.empty() || key.subkeys.empty())) {
        Json& values = registry[path] = Json::object();
        for (const simulated::RegistryValue& value : key.values) {
            values[toUtf8(value.name)] = registryValueJson(value.type, value.data, losslessUtf8);
        }
    }
    for (const auto& [name, subkey] : key.subkeys) {
        writeKey(*subkey, path + '\\' + toUtf8(name), registry);
    }
}

Json packageJson(const simulated::Package& package) {
    if (package.openStatus() != 0) {
        return {{"status", package.openStatus()}};
    }
    Json json = Json::object();
    const auto forEachRow = [&](const char16_t* name, const auto& take) {
        const simulated::Table* const table = package.find(name);
        std::for_each(table ? table->rows().begin() : decltype(table->rows().begin()){},
                      table ? table->rows().end() : decltype(table->rows().end()){}, take);
        return table != nullptr;
    };
    forEachRow(u"Property",
               [&](const auto& row) { json["properties"][toUtf8(row[0])] = toUtf8(row[1]); });
    forEachRow(u"Component",
               [&](const auto& row) { json["components"][toUtf8(row[0])] = toUtf8(row[1]); });
    Json upgrade = Json::array();
    if (forEachRow(u"Upgrade", [&](const auto& row) { upgrade.push_back(toUtf8(row[0])); })) {
        json["upgrade"] = upgrade;
    }
    return json;
}

Json productJson(const simulated::Product& product) {
    Json json = {{"code", toUtf8(product.code)},
                 {"info", Json::object()},
                 {"package", packageJson(product.package)}};
    if (!product.upgradeCode.empty()) {
        json["upgradeCode"] = toUtf8(product.upgradeCode);
    }
    for (const auto& [name, value] : product.properties) {
        if (name != u"LocalPackage") {
            json["info"][toUtf8(name)] = toUtf8(value);
        }
    }
    return json;
}

Json fileJson(const FileNode& node) {
    Json json = node.isDirectory ? Json::object() : factsOfContent(node.content);
    if (!node.version.empty()) {
        json["version"] = simulated::describeVersion(node.version);
    }
    if (const std::u16string target = simulated::substituteName(node.reparse); !target.empty()) {
        json["link"] = toUtf8(target.substr(target.starts_with(u"\\??\\") ? 4 : 0));
    }
    if ((node.attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        json["readOnly"] = true;
    }
    if (!node.uses.empty()) {
        json["inUse"] = true;
    }
    return json;
}

/// Directories stand for themselves only if nothing stands in them.
void writeEntries(const FileNode& directory, const std::string& path, Json& files) {
    for (const auto& [name, node] : directory.entries) {
        const std::string inner = path + '\\' + toUtf8(node->name);
        Json facts = fileJson(*node);
        const bool isEmpty = std::all_of(node->entries.begin(), node->entries.end(),
                                         [](const auto& entry) { return isLogFile(entry.first); });
        if (node->isDirectory && (isEmpty || !facts.empty())) {
            files[inner + '\\'] = std::move(facts);
        } else if (!node->isDirectory && !isLogFile(node->name)) {
            files[inner] = std::move(facts);
        }
        writeEntries(*node, inner, files);
    }
}

/// Takes out what stands on every Windows and isn't named.
void removeUsual(Json& part, const Json& usual, const std::set<std::string>& named) {
    for (const auto& [key, facts] : usual.items()) {
        const auto found = part.find(key);
        if (found == part.end()) {
            continue;
        }
        for (const auto& [name, value] : facts.items()) {
            const auto own = found->find(name);
            if (own != found->end() && *own == value && !named.contains(foldedName(key, name))) {
                found->erase(own);
            }
        }
        if (found->empty() && !named.contains(foldedName(key))) {
            part.erase(found);
        }
    }
}

std::string number(std::uint64_t value, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i) & 0xFF);
    }
    return text;
}

}  // namespace

bool isLogFile(std::u16string_view name) {
    return simulated::sameText(name, u"tolmark.log");
}

std::string contentOfSize(std::uint64_t size) {
    return size == 0 ? std::string() : std::string(kSizeHead) + std::to_string(size);
}

std::string contentOfManifest(const std::string& manifest, std::uint64_t size) {
    const std::string comment = contentOfSize(size);
    const std::string name(kManifestName);
    const auto checksum = crc32(0, reinterpret_cast<const Bytef*>(manifest.data()),
                                static_cast<uInt>(manifest.size()));
    // Version, flags, method, time; checksum and sizes; the length of the name.
    const std::string common = number(20, 2) + number(0, 4) + number(0x58214321, 4) +
                               number(checksum, 4) + number(manifest.size(), 4) +
                               number(manifest.size(), 4) + number(name.size(), 2);
    const std::string local = "PK\x03\x04" + common + number(0, 2) + name + manifest;
    const std::string central = "PK\x01\x02" + number(20, 2) + common + number(0, 16) + name;
    return local + central + "PK\x05\x06" + number(0, 4) + number(1, 2) + number(1, 2) +
           number(central.size(), 4) + number(local.size(), 4) + number(comment.size(), 2) +
           comment;
}

Json factsOfContent(const std::string& content) {
    const std::size_t head = content.rfind(kSizeHead);
    std::uint64_t size = 0;
    if (head != std::string::npos) {
        std::from_chars(content.data() + head + kSizeHead.size(), content.data() + content.size(),
                        size);
    }
    if (content.starts_with("PK\x03\x04")) {
        std::uint32_t length = 0;
        std::memcpy(&length, content.data() + kLocalSize, sizeof(length));
        return {{"size", size},
                {"manifest", content.substr(kLocalHeader + kManifestName.size(), length)}};
    }
    const auto link = simulated::parseShellLink(content);
    if (!link) {
        return content.empty() || head == 0 ? Json{{"size", size}} : Json{{"text", content}};
    }
    Json shortcut = {{"target", toUtf8(link->target)}};
    if (!link->arguments.empty()) {
        shortcut["arguments"] = toUtf8(link->arguments);
    }
    if (!link->icon.empty()) {
        shortcut["icon"] = toUtf8(link->icon) + "," + std::to_string(link->iconIndex);
    }
    if (link->internet) {
        shortcut["internet"] = true;
    } else if (!link->description.empty()) {
        shortcut["description"] = toUtf8(link->description);
    }
    return {{"shortcut", shortcut}};
}

Json writeWhole(const DescribedMachine& described) {
    const simulated::Machine& machine = described.machine;
    Json json = described.fixedParts;
    json["registry"] = json["files"] = Json::object();
    for (const char* root : {"HKLM", "HKCU", "HKU"}) {
        writeKey(*machine.registry.root(fromUtf8(root)), root, json["registry"]);
    }
    for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
        const std::u16string drive{letter, u':'};
        if (machine.volumes.driveType(drive) != DRIVE_NO_ROOT_DIR) {
            const auto root = machine.volumes.find(simulated::parsePath(drive + u'\\', {}), false);
            writeEntries(*root.node, toUtf8(drive), json["files"]);
        }
    }
    for (const auto& product : machine.installer.products()) {
        json["products"].push_back(productJson(*product));
    }
    for (const simulated::DelayedMove& move : machine.volumes.delayedMoves()) {
        Json& entry = json["atRestart"].emplace_back(Json{{"from", toUtf8(move.from)}});
        if (!move.to.empty()) {
            entry["to"] = toUtf8(move.to);
        }
    }
    return json;
}

Json writeDescription(const DescribedMachine& described) {
    Json json = writeWhole(described);
    Json windows = json;
    for (const char* part : {"registry", "products", "package", "files", "atRestart", "unread"}) {
        windows.erase(part);
    }
    DescribedMachine usual;
    addDescription(usual, Node("Windows", windows));
    const Json nothingOnIt = writeWhole(usual);
    for (const char* part : {"registry", "files"}) {
        removeUsual(json[part], nothingOnIt[part], described.named);
        if (json[part].empty()) {
            json.erase(part);
        }
    }
    return json;
}
