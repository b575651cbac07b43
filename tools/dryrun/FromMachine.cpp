// From the machine to a description.
#include <windows.h>

#include <algorithm>

#include "RegistryValue.h"
#include "dryrun/Description.h"
#include "simulated/machine/files/VersionBlock.h"
#include "simulated/machine/Wide.h"
#include "simulated/machine/files/FileTree.h"

using simulated::fromUtf8;
using simulated::toUtf8;

namespace {

void writeKey(const simulated::RegistryKey& key, const std::string& path, Json& registry) {
    if (key.parent != nullptr && (!key.values().empty() || key.subkeys.empty())) {
        Json& values = registry[path] = Json::object();
        for (const simulated::RegistryValue& value : key.values()) {
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
    Json json = Json::object();
    if (package.openStatus() != 0) {
        json["status"] = package.openStatus();
        return json;
    }
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
        if (name == u"LocalPackage") {
            json["package"]["path"] = toUtf8(value);
        } else {
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

/// A content as text if it is one.
Json contentJson(const std::string& content) {
    const bool isText =
        content.find('\0') == std::string::npos && toUtf8(fromUtf8(content)) == content;
    return isText ? Json(content) : Json{{"hex", hexDigits(content)}};
}

/// A link as its stored name, in short for a path of a drive, or its whole buffer.
Json linkJson(const std::string& buffer) {
    const std::u16string kernelPrefix = u"\\??\\";
    const std::u16string name = simulated::substituteName(buffer);
    if (!name.starts_with(kernelPrefix)) {
        return {{"hex", hexDigits(buffer)}};
    }
    const std::u16string path = name.substr(kernelPrefix.size());
    const bool isDrivePath = path.size() > 2 && path[1] == u':' && path[2] == u'\\';
    return toUtf8(isDrivePath ? path : name);
}

Json fileJson(const simulated::FileNode& node, const DescribedMachine& described) {
    Json json = Json::object();
    const auto told = described.toldContents.find(node.content);
    if (!node.reparse.empty()) {
        json["link"] = linkJson(node.reparse);
    } else if (node.isDirectory) {
        json = Json::object();
    } else if (told != described.toldContents.end()) {
        json = told->second;
    } else if (const auto link = simulated::parseShellLink(node.content)) {
        json["shortcut"] = shortcutJson(*link);
    } else if (node.content.empty()) {
        json["size"] = 0;
    } else {
        json["text"] = contentJson(node.content);
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

/// A directory is written only if it is empty or has facts of its own.
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

/// Removes what the machine has by default and nobody wrote. A default that it doesn't have becomes
/// null, and a key without its default values an empty object.
void removeUsualKeys(const Json& usual, const DescribedMachine& described, Json& keys) {
    const auto isNamed = [&](const std::string& name) { return described.named.contains(name); };
    for (const auto& [key, usualValues] : usual.items()) {
        if (!described.machine.registry.hasKey(simulated::View::Bits64, fromUtf8(key))) {
            keys[key] = nullptr;
            continue;
        }
        const bool hadValues = keys.contains(key) && !keys[key].empty();
        if (!hadValues && usualValues.empty() && !isNamed(foldedName(key))) {
            keys.erase(key);
        }
        if (!hadValues) {
            continue;
        }
        Json& values = keys[key];
        for (const auto& [name, value] : usualValues.items()) {
            if (!values.contains(name)) {
                values[name] = nullptr;
            } else if (values[name] == value && !isNamed(foldedName(key, name))) {
                values.erase(name);
            }
        }
        if (values.empty() && !isNamed(foldedName(key))) {
            keys.erase(key);
        }
    }
}

void removeUsualFiles(const Json& usual, const DescribedMachine& described, Json& files) {
    for (const auto& [path, facts] : usual.items()) {
        if (!described.machine.volumes.exists(fromUtf8(path))) {
            files[path] = nullptr;
        } else if (files.contains(path) && files[path] == facts &&
                   !described.named.contains(foldedName(path))) {
            files.erase(path);
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
    for (const auto& [name, volume] : machine.fileSystem.volumes()) {
        writeEntries(*volume.root, toUtf8(name), described, json["files"]);
    }
    std::set<std::u16string> written;
    for (const auto& product : machine.installer.products()) {
        // The installer lists a product again that is kept for the machine and for a user.
        const bool isFirst = written.insert(simulated::upperCase(product->code)).second;
        json["products"].push_back(isFirst ? productJson(*product)
                                           : Json{{"code", toUtf8(product->code)}});
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
    removeUsualKeys(nothingOnIt["registry"], described, json["registry"]);
    removeUsualFiles(nothingOnIt["files"], described, json["files"]);
    for (const char* part : {"registry", "files"}) {
        if (json[part].empty()) {
            json.erase(part);
        }
    }
    return json;
}
