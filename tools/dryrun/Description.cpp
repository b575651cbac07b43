// From a description to the machine and back.
#include <windows.h>
#include <shlobj.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "RegistryValue.h"
#include "dryrun/Description.h"
#include "simulated/machine/VersionBlock.h"
#include "simulated/machine/Wide.h"

using simulated::FileNode;
using simulated::fromUtf8;
using simulated::Machine;
using simulated::toUtf8;
using simulated::View;

namespace {

constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 62;
/// Both the registry and the disk end a path long before.
constexpr std::size_t kMostPathUnits = 32767;
constexpr std::size_t kMostKeyUnits = 255;
constexpr std::string_view kSizeHead =
    "\x01"
    "file of bytes: ";
constexpr std::string_view kManifestName = "META-INF/MANIFEST.MF";
/// The length of an archive's local header in front of the name, and where its size stands.
constexpr std::size_t kLocalHeader = 30;
constexpr std::size_t kLocalSize = 22;

// ---- What stands alike in both directions ----

struct PackageTable {
    const char* part;
    const char16_t* name;
    std::vector<std::u16string> columns;
};
const PackageTable kPackageTables[] = {
    {"properties", u"Property", {u"Property", u"Value"}},
    {"components", u"Component", {u"Component", u"ComponentId"}}};
constexpr std::pair<const char*, std::u16string simulated::ShellLink::*> kShortcutTexts[] = {
    {"target", &simulated::ShellLink::target},
    {"arguments", &simulated::ShellLink::arguments},
    {"description", &simulated::ShellLink::description}};

// ---- How the facts of a file stand in its content ----

std::string number(std::uint64_t value, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i) & 0xFF);
    }
    return text;
}

/// The content of a file of which no more than the size is known.
std::string contentOfSize(std::uint64_t size) {
    return size == 0 ? std::string() : std::string(kSizeHead) + std::to_string(size);
}

/// The content of an archive with this manifest, of a file of this size.
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

/// The facts that a content was made of: "size", "manifest", "shortcut" or "text".
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
    Json shortcut = {{"target", ""}};
    for (const auto& [name, text] : kShortcutTexts) {
        if (!((*link).*text).empty()) {
            shortcut[name] = toUtf8((*link).*text);
        }
    }
    if (!link->icon.empty()) {
        shortcut["icon"] = toUtf8(link->icon) + "," + std::to_string(link->iconIndex);
    }
    if (link->internet) {
        shortcut["internet"] = true;
        shortcut.erase("description");  // its file has no place for one
    }
    return {{"shortcut", shortcut}};
}

// ---- From a description to the machine ----

/// Numbers of 16 bits with dots between; those left out at the end are 0.
template <std::size_t count>
std::array<WORD, count> readVersion(const Node& node) {
    const std::string text = node.utf8();
    std::array<WORD, count> numbers = {};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (std::size_t i = 0; i < count; ++i) {
        const auto [next, error] = std::from_chars(at, end, numbers[i]);
        if (error == std::errc() && next == end) {
            return numbers;
        }
        if (error != std::errc() || *next != '.') {
            break;
        }
        at = next + 1;
    }
    node.refuse("up to " + std::to_string(count) + " numbers below 65536 with dots between");
}

bool is64(const Node& bits) {
    if (bits.json() != 32 && bits.json() != 64) {
        bits.refuse("32 or 64");
    }
    return bits.json() == 64;
}

void readWindows(const Node& node, Machine& machine) {
    simulated::Facts& facts = machine.facts;
    node.read({{"bits",
                [&](const Node& bits) {
                    if (!is64(bits)) {
                        machine.become32Bit();
                    }
                }},
               {"version",
                [&](const Node& version) {
                    const auto [major, minor, build] = readVersion<3>(version);
                    facts.version.major = major;
                    facts.version.minor = minor;
                    facts.version.build = build;
                }},
               {"languages", [&](const Node& languages) {
                    facts.uiLanguages.clear();
                    for (const Node& language : languages.items()) {
                        facts.uiLanguages.push_back(language.text());
                    }
                }}});
}

/// The reader of a table of texts.
template <class Table>
Node::Reader intoTexts(Table& table) {
    return [&table](const Node& node) {
        for (const auto& [name, value] : node.members()) {
            table[fromUtf8(name)] = value.text();
        }
    };
}

void readProcess(const Node& node, Machine& machine) {
    node.read({{"bits",
                [&](const Node& bits) {
                    machine.facts.is64BitProcess = is64(bits);
                    if (machine.facts.is64BitProcess && !machine.facts.is64BitSystem) {
                        bits.refuse("32, as Windows has");
                    }
                }},
               {"administrator",
                [&](const Node& isAdministrator) {
                    if (!isAdministrator.flag()) {
                        machine.security.becomeOrdinaryUser();
                    }
                }},
               {"elevated", into(machine.security.elevated)},
               {"localSystem",
                [&](const Node& isLocalSystem) {
                    if (isLocalSystem.flag()) {
                        machine.security.becomeLocalSystem();
                    }
                }},
               {"environment", intoTexts(machine.facts.environment)}});
}

void readFolders(const Node& node, Machine& machine) {
    const auto into = [&](const auto& put) -> Node::Reader {
        return [&machine, put](const Node& folder) {
            const std::u16string path = pathOf(folder, folder.utf8());
            arrange(folder, [&] { machine.volumes.addDirectory(path); });
            put(path);
        };
    };
    const auto fact = [&](std::u16string& directory) {
        return into([&directory](const auto& path) { directory = path; });
    };
    const auto shell = [&](int id) {
        return into([&machine, id](const auto& path) { machine.shell.setFolder(id, path); });
    };
    node.read({{"windows", fact(machine.facts.windowsDirectory)},
               {"system", fact(machine.facts.systemDirectory)},
               {"wow64", fact(machine.facts.wow64Directory)},
               {"programFilesX86", shell(CSIDL_PROGRAM_FILESX86)},
               {"commonFiles", shell(CSIDL_PROGRAM_FILES_COMMON)},
               {"commonFilesX86", shell(CSIDL_PROGRAM_FILES_COMMONX86)},
               {"commonPrograms", shell(CSIDL_COMMON_PROGRAMS)}});
}

void readDrives(const Node& node, Machine& machine) {
    static const std::map<std::string, DWORD> kTypes = {{"fixed", DRIVE_FIXED},
                                                        {"remote", DRIVE_REMOTE},
                                                        {"cdrom", DRIVE_CDROM},
                                                        {"removable", DRIVE_REMOVABLE},
                                                        {"ramdisk", DRIVE_RAMDISK}};
    for (const auto& [letter, type] : node.members()) {
        const auto known = kTypes.find(type.utf8());
        if (known == kTypes.end()) {
            type.refuse("fixed, remote, cdrom, removable or ramdisk");
        }
        if (letter.size() != 1 || letter[0] < 'A' || letter[0] > 'Z') {
            node.refuse("letters of drives, A to Z", '"' + letter + '"');
        }
        if (letter != "C") {
            machine.volumes.addDrive(static_cast<char16_t>(letter[0]), known->second);
        }
    }
}

std::vector<std::uint8_t> readHex(const Node& node) {
    const std::string text = node.utf8();
    std::vector<std::uint8_t> bytes(text.size() / 2);
    bool isGood = text.size() % 2 == 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char* const digits = text.data() + 2 * i;
        isGood = isGood && std::from_chars(digits, digits + 2, bytes[i], 16).ptr == digits + 2;
    }
    if (!isGood) {
        node.refuse("pairs of hexadecimal digits");
    }
    return bytes;
}

void readValue(const Node& node, simulated::RegistryStore& registry, const std::u16string& key,
               const std::u16string& name) {
    if (node.json().is_string()) {
        registry.setString(View::Bits64, key, name, node.text());
    } else if (node.json().is_number()) {
        registry.setNumber(View::Bits64, key, name, node.number32());
    } else if (node.has("expand")) {
        node.read({{"expand", [&](const Node& text) {
                        registry.setExpandString(View::Bits64, key, name, text.text());
                    }}});
    } else if (node.has("hex") && node.has("type")) {
        DWORD type = 0;
        node.read({{"type", into(type)}, {"hex", [&](const Node& hex) {
                                              registry.setValue(View::Bits64, key, name, type,
                                                                readHex(hex));
                                          }}});
    } else {
        node.refuse("a text, a number, \"expand\" or \"type\" with \"hex\"");
    }
}

void expectKeyPath(const Node& node, const std::string& key, bool is64BitSystem) {
    const std::vector<std::u16string> names = simulated::components(fromUtf8(key));
    const bool isWhole = names.size() > 1 && !key.ends_with('\\') &&
                         key.find("\\\\") == std::string::npos &&
                         std::all_of(names.begin(), names.end(), [](const auto& name) {
                             return name != u"." && name != u".." && name.size() <= kMostKeyUnits;
                         });
    if (!isWhole || (names[0] != u"HKLM" && names[0] != u"HKCU" && names[0] != u"HKU")) {
        node.refuse("keys below HKLM, HKCU or HKU", '"' + key + '"');
    }
    if (!is64BitSystem && foldedName(key).find("\\WOW6432NODE") != std::string::npos) {
        node.refuse("no Wow6432Node on a Windows of 32 bits", '"' + key + '"');
    }
}

void readRegistry(const Node& node, DescribedMachine& described) {
    for (const auto& [key, values] : node.members()) {
        expectKeyPath(node, key, described.machine.facts.is64BitSystem);
        described.machine.registry.createKey(View::Bits64, fromUtf8(key));
        described.named.insert(foldedName(key));
        for (const auto& [name, value] : values.members()) {
            readValue(value, described.machine.registry, fromUtf8(key), fromUtf8(name));
            described.named.insert(foldedName(key, name));
        }
    }
}

simulated::Package readPackage(const Node& node) {
    simulated::Package package;
    std::vector<std::pair<std::string, Node::Reader>> readers = {
        {"status", [&](const Node& status) { package.unreadable(status.number32()); }},
        {"upgrade", [&](const Node& rows) {
             simulated::Table& table = package.table(u"Upgrade", {u"ActionProperty"});
             for (const Node& property : rows.items()) {
                 table.row({property.text()});
             }
         }}};
    for (const auto& [part, name, columns] : kPackageTables) {
        readers.emplace_back(part, [&table = package.table(name, columns)](const Node& rows) {
            for (const auto& [first, second] : rows.members()) {
                table.row({fromUtf8(first), second.text()});
            }
        });
    }
    node.read(readers);
    return package;
}

/// The reader of a code.
Node::Reader intoCode(std::u16string& code) {
    return [&code](const Node& node) {
        constexpr std::u16string_view kForm = u"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
        constexpr std::u16string_view kDigits = u"0123456789ABCDEFabcdef";
        code = node.text();
        if (!std::equal(code.begin(), code.end(), kForm.begin(), kForm.end(),
                        [&](char16_t c, char16_t form) {
                            return form == u'x' ? kDigits.find(c) != kDigits.npos : c == form;
                        })) {
            node.refuse("a code such as {26A24AE4-039D-4CA4-87B4-2F64180451F0}");
        }
    };
}

void readProduct(const Node& node, DescribedMachine& described) {
    static const Json kNothing = Json::object();
    simulated::Product product;
    product.package = readPackage(Node("", kNothing));
    const Node::Reader isReadLater = [](const Node&) {};
    node.read({{"code", intoCode(product.code)},
               {"upgradeCode", intoCode(product.upgradeCode)},
               {"info", intoTexts(product.properties)},
               {"package", [&](const Node& package) { product.package = readPackage(package); }},
               {"type", isReadLater},
               {"version", isReadLater},
               {"bits", isReadLater},
               {"home", isReadLater}});
    if (node.has("type") || node.has("version") || !node.has("code")) {
        completeProduct(node, described, product);
    }
    if (described.machine.installer.product(product.code) != nullptr) {
        node.refuse("each product once", toUtf8(product.code) + " again");
    }
    described.machine.installer.addProduct(std::move(product));
}

simulated::ShellLink readShortcut(const Node& node) {
    simulated::ShellLink link;
    std::vector<std::pair<std::string, Node::Reader>> readers = {
        {"internet", into(link.internet)},
        {"icon", [&](const Node& icon) {
             const std::string text = icon.utf8();
             const std::size_t comma = std::min(text.rfind(','), text.size());
             link.icon = fromUtf8(text.substr(0, comma));
             std::from_chars(text.data() + comma + (comma < text.size()), text.data() + text.size(),
                             link.iconIndex);
         }}};
    for (const auto& [name, text] : kShortcutTexts) {
        readers.emplace_back(name, into(link.*text));
    }
    node.read(readers);
    return link;
}

void readFile(const std::string& name, const Node& node, DescribedMachine& described) {
    simulated::Volumes& volumes = described.machine.volumes;
    const std::u16string path = pathOf(node, name);
    bool isReadOnly = false;
    bool isInUse = false;
    if (name.ends_with('\\')) {
        volumes.addDirectory(path);
        node.read(
            {{"link",
              [&](const Node& link) { volumes.addJunction(path, pathOf(link, link.utf8())); }},
             {"readOnly", into(isReadOnly)}});
    } else {
        std::uint64_t size = 0;
        std::string content;
        std::array<WORD, 4> version = {};
        node.read(
            {{"size",
              [&](const Node& fact) { content = contentOfSize(size = fact.number(kMostBytes)); }},
             {"text", [&](const Node& fact) { content = fact.utf8(); }},
             {"shortcut",
              [&](const Node& fact) { content = simulated::shellLinkText(readShortcut(fact)); }},
             {"manifest",
              [&](const Node& fact) { content = contentOfManifest(fact.utf8(), size); }},
             {"version", [&](const Node& fact) { version = readVersion<4>(fact); }},
             {"readOnly", into(isReadOnly)},
             {"inUse", into(isInUse)}});
        volumes.addFile(path, content);
        if (node.has("version")) {
            volumes.setVersion(path, version[0], version[1], version[2], version[3]);
        }
    }
    volumes.setReadOnly(path, isReadOnly);
    if (isInUse) {
        volumes.lockAsProgram(path);
    }
    described.named.insert(foldedName(name));
}

void readMoves(const Node& node, Machine& machine) {
    for (const Node& item : node.items()) {
        simulated::DelayedMove move;
        item.read({{"from", into(move.from)}, {"to", into(move.to)}});
        machine.volumes.delayMove(move);
    }
}

// ---- From the machine to a description ----

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

Json packageJson(const simulated::Package& package) {
    if (package.openStatus() != 0) {
        return {{"status", package.openStatus()}};
    }
    Json json = Json::object();
    for (const auto& [part, name, columns] : kPackageTables) {
        for (const auto& row : package.find(name)->rows()) {
            json[part][toUtf8(row[0])] = toUtf8(row[1]);
        }
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

}  // namespace

std::string foldedName(std::string_view name) {
    return simulated::toUtf8(simulated::upperCase(fromUtf8(name)));
}

std::string foldedName(std::string_view key, std::string_view value) {
    return foldedName(key) + '\n' + foldedName(value);
}

std::u16string pathOf(const Node& node, std::string text) {
    while (text.ends_with('\\') && text.size() > 3) {
        text.pop_back();
    }
    const std::u16string path = fromUtf8(text);
    const simulated::FilePath parsed = simulated::parsePath(path, u"C:\\");
    const bool isAbsolute = path.starts_with(u"\\\\") || (path.size() > 2 && path[1] == u':');
    if (!isAbsolute || parsed.status != 0 || parsed.isDevice || path.size() > kMostPathUnits) {
        node.refuse("an absolute path such as \"C:\\\\x\"", '"' + text + '"');
    }
    return path;
}

void addDescription(DescribedMachine& described, const Node& description) {
    Machine& machine = described.machine;
    machine.volumes.addDirectory(*machine.shell.folder(CSIDL_COMMON_PROGRAMS));
    const auto kept = [&](const char* name, const Node::Reader& reader) {
        return std::pair<std::string, Node::Reader>(name, [&, name, reader](const Node& part) {
            reader(part);
            Json& json = described.fixedParts[name];
            if (part.json().is_object()) {
                json.update(part.json(), true);
            } else {
                json = part.json();
            }
        });
    };
    description.read({
        kept("windows", [&](const Node& part) { readWindows(part, machine); }),
        kept("process", [&](const Node& part) { readProcess(part, machine); }),
        kept("drives", [&](const Node& part) { readDrives(part, machine); }),
        kept("folders", [&](const Node& part) { readFolders(part, machine); }),
        {"registry", [&](const Node& part) { readRegistry(part, described); }},
        {"files",
         [&](const Node& part) {
             for (const auto& [name, file] : part.members()) {
                 arrange(file,
                         [&, &path = name, &node = file] { readFile(path, node, described); });
             }
         }},
        {"products",
         [&](const Node& part) {
             for (const Node& product : part.items()) {
                 readProduct(product, described);
             }
         }},
        kept("package", [&](const Node& part) { described.package = readPackage(part); }),
        {"atRestart", [&](const Node& part) { readMoves(part, machine); }},
        kept("unread", [](const Node&) {}),
    });
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
