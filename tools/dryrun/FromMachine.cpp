// From the machine to a description.
#include <windows.h>

#include <algorithm>

#include "RegistryValue.h"
#include "dryrun/Description.h"
#include "simulated/machine/files/VersionBlock.h"
#include "simulated/machine/Wide.h"

using simulated::fromUtf8;
using simulated::toUtf8;

namespace {

void writeKey(const simulated::RegistryKey& key, const std::string& path, Json& registry) {
    if (key.parent != nullptr && (!key.values.empty() || key.subkeys.empty())) {
        Json& values = registry[path] = Json::object();
        for (const simulated::RegistryValue& value : key.values) {
            values[toUtf8(value.name)] =
                registryValueJson(value.type, value.data, toUtf8, fromUtf8);
        }
    }
    for (const auto& [name, subkey] : key.subkeys) {
        writeKey(*subkey, path + '\\' + toUtf8(name), registry);
    }
}

void putText(Json& json, const char* name, const std::u16string& text) {
    if (!text.empty()) {
        json[name] = toUtf8(text);
    }
}

Json packageJson(const simulated::Package& package) {
    if (package.openStatus() != 0) {
        return {{"status", package.openStatus()}};
    }
    Json json = Json::object();
    for (const auto& row : package.find(u"Property")->rows()) {
        json["properties"][toUtf8(row[0])] = toUtf8(row[1]);
    }
    for (const auto& row : package.find(u"Component")->rows()) {
        json["components"][toUtf8(row[0])] = toUtf8(row[1]);
    }
    if (const simulated::Table* const upgrade = package.find(u"Upgrade")) {
        json["upgrade"] = Json::array();
        for (const auto& row : upgrade->rows()) {
            json["upgrade"].push_back(toUtf8(row[0]));
        }
    }
    return json;
}

Json productJson(const simulated::Product& product) {
    Json json = {{"code", toUtf8(product.code)},
                 {"info", Json::object()},
                 {"package", packageJson(product.package)}};
    putText(json, "upgradeCode", product.upgradeCode);
    for (const auto& [name, value] : product.properties) {
        if (name != u"LocalPackage") {
            json["info"][toUtf8(name)] = toUtf8(value);
        }
    }
    return json;
}

Json shortcutJson(const simulated::ShellLink& link) {
    Json json = {{"target", toUtf8(link.target)}};
    putText(json, "arguments", link.arguments);
    if (!link.icon.empty()) {
        json["icon"] = toUtf8(link.icon) + "," + std::to_string(link.iconIndex);
    }
    if (link.internet) {
        json["internet"] = true;
    } else {  // the other's file has no place for one
        putText(json, "description", link.description);
    }
    return json;
}

Json fileJson(const simulated::FileNode& node, const DescribedMachine& described) {
    Json json = Json::object();
    const auto told = described.toldContents.find(node.content);
    if (node.isDirectory) {
        putText(json, "link", described.machine.volumes.junctionTarget(node.path()).value_or(u""));
    } else if (told != described.toldContents.end()) {
        json = told->second;
    } else if (const auto link = simulated::parseShellLink(node.content)) {
        json["shortcut"] = shortcutJson(*link);
    } else if (node.content.empty()) {
        json["size"] = 0;
    } else {
        json["text"] = node.content;
    }
    if (!node.version.empty()) {
        json["version"] = simulated::describeVersion(node.version);
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
void writeEntries(const simulated::FileNode& directory, const std::string& path,
                  const DescribedMachine& described, Json& files) {
    for (const auto& [name, node] : directory.entries) {
        const std::string inner = path + '\\' + toUtf8(node->name);
        Json facts = fileJson(*node, described);
        const bool isEmpty = std::all_of(node->entries.begin(), node->entries.end(),
                                         [](const auto& entry) { return isLogFile(entry.first); });
        if (node->isDirectory && (isEmpty || !facts.empty())) {
            files[inner + '\\'] = std::move(facts);
        } else if (!node->isDirectory && !isLogFile(node->name)) {
            files[inner] = std::move(facts);
        }
        writeEntries(*node, inner, described, files);
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

}  // namespace

std::string foldedName(std::string_view name) {
    return simulated::toUtf8(simulated::upperCase(fromUtf8(name)));
}

std::string foldedName(std::string_view key, std::string_view value) {
    return foldedName(key) + '\n' + foldedName(value);
}

bool isLogFile(std::u16string_view name) {
    return simulated::sameText(name, u"tolmark.log");
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
        if (machine.fileSystem.driveType(drive) != DRIVE_NO_ROOT_DIR) {
            const auto root =
                machine.fileSystem.find(simulated::parsePath(drive + u'\\', {}), false);
            writeEntries(*root.node, toUtf8(drive), described, json["files"]);
        }
    }
    for (const auto& product : machine.installer.products()) {
        json["products"].push_back(productJson(*product));
    }
    for (const simulated::DelayedMove& move : machine.volumes.delayedMoves()) {
        putText(json["atRestart"].emplace_back(Json{{"from", toUtf8(move.from)}}), "to", move.to);
    }
    return json;
}

Json writeDescription(const DescribedMachine& described) {
    DescribedMachine usual;
    Json windows = described.fixedParts;
    windows.erase("package");
    addDescription(usual, "Windows", windows);
    const Json nothingOnIt = writeWhole(usual);
    Json json = writeWhole(described);
    for (const char* part : {"registry", "files"}) {
        removeUsual(json[part], nothingOnIt[part], described.named);
        if (json[part].empty()) {
            json.erase(part);
        }
    }
    return json;
}
