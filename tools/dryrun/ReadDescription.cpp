// From a description to the machine.
#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "dryrun/Description.h"
#include "simulated/machine/Wide.h"

using simulated::fromUtf8;
using simulated::Machine;
using simulated::View;

namespace {

constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 62;
constexpr DWORD kAnyNumber = 0xFFFFFFFF;
/// Both the registry and the disk end a path long before.
constexpr std::size_t kMostPathUnits = 32767;
constexpr std::size_t kMostKeyUnits = 255;

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
    node.expectKeys({"version", "bits", "languages"});
    simulated::Facts& facts = machine.facts;
    node.with("bits", [&](const Node& bits) {
        if (!is64(bits)) {
            machine.become32Bit();
        }
    });
    node.with("version", [&](const Node& version) {
        const auto numbers = readVersion<3>(version);
        facts.version.major = numbers[0];
        facts.version.minor = numbers[1];
        facts.version.build = numbers[2];
    });
    node.with("languages", [&](const Node& languages) {
        facts.uiLanguages.clear();
        for (const Node& language : languages.items()) {
            facts.uiLanguages.push_back(language.text());
        }
    });
}

void readProcess(const Node& node, Machine& machine) {
    node.expectKeys({"bits", "localSystem", "administrator", "elevated", "environment"});
    node.with("bits", [&](const Node& bits) {
        machine.facts.is64BitProcess = is64(bits);
        if (machine.facts.is64BitProcess && !machine.facts.is64BitSystem) {
            bits.refuse("32, as Windows has");
        }
    });
    bool isAdministrator = true;
    node.read("administrator", isAdministrator);
    if (!isAdministrator) {
        machine.security.becomeOrdinaryUser();
    }
    node.read("elevated", machine.security.elevated);
    bool isLocalSystem = false;
    node.read("localSystem", isLocalSystem);
    if (isLocalSystem) {
        machine.security.becomeLocalSystem();
    }
    node.with("environment", [&](const Node& environment) {
        for (const auto& [name, value] : environment.members()) {
            machine.facts.environment[fromUtf8(name)] = value.text();
        }
    });
}

void readFolders(const Node& node, Machine& machine) {
    const auto read = [&](const char* name, const auto& take) {
        node.with(name, [&](const Node& folder) {
            const std::u16string path = pathOf(folder, folder.utf8());
            arrange(folder, [&] { machine.volumes.addDirectory(path); });
            take(path);
        });
    };
    node.expectKeys({"windows", "system", "wow64", "programFilesX86", "commonFiles",
                     "commonFilesX86", "commonPrograms"});
    simulated::Facts& facts = machine.facts;
    read("windows", [&](const auto& path) { facts.windowsDirectory = path; });
    read("system", [&](const auto& path) { facts.systemDirectory = path; });
    read("wow64", [&](const auto& path) { facts.wow64Directory = path; });
    constexpr std::pair<const char*, int> kShellFolders[] = {
        {"programFilesX86", CSIDL_PROGRAM_FILESX86},
        {"commonFiles", CSIDL_PROGRAM_FILES_COMMON},
        {"commonFilesX86", CSIDL_PROGRAM_FILES_COMMONX86},
        {"commonPrograms", CSIDL_COMMON_PROGRAMS}};
    for (const auto& [name, id] : kShellFolders) {
        read(name, [&, folder = id](const auto& path) { machine.shell.setFolder(folder, path); });
    }
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
        registry.setNumber(View::Bits64, key, name, static_cast<DWORD>(node.number(kAnyNumber)));
    } else if (node.has("expand")) {
        node.expectKeys({"expand"});
        registry.setExpandString(View::Bits64, key, name, node["expand"].text());
    } else if (node.has("hex") && node.has("type")) {
        node.expectKeys({"type", "hex"});
        registry.setValue(View::Bits64, key, name,
                          static_cast<DWORD>(node["type"].number(kAnyNumber)),
                          readHex(node["hex"]));
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
    const auto fill = [&](const char* part, simulated::Table& table) {
        node.with(part, [&](const Node& rows) {
            for (const auto& [name, value] : rows.members()) {
                table.row({fromUtf8(name), value.text()});
            }
        });
    };
    node.expectKeys({"properties", "components", "upgrade", "status"});
    fill("properties", package.table(u"Property", {u"Property", u"Value"}));
    fill("components", package.table(u"Component", {u"Component", u"ComponentId"}));
    node.with("upgrade", [&](const Node& rows) {
        simulated::Table& table = package.table(u"Upgrade", {u"ActionProperty"});
        for (const Node& property : rows.items()) {
            table.row({property.text()});
        }
    });
    node.with("status", [&](const Node& status) {
        package.unreadable(static_cast<DWORD>(status.number(kAnyNumber)));
    });
    return package;
}

void readCode(const Node& node, const char* name, std::u16string& code) {
    constexpr std::u16string_view kForm = u"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
    constexpr std::u16string_view kDigits = u"0123456789ABCDEFabcdef";
    node.read(name, code);
    const bool isCode = std::equal(
        code.begin(), code.end(), kForm.begin(), kForm.end(), [&](char16_t c, char16_t form) {
            return form == u'x' ? kDigits.find(c) != kDigits.npos : c == form;
        });
    if (node.has(name) && !isCode) {
        node[name].refuse("a code such as {26A24AE4-039D-4CA4-87B4-2F64180451F0}");
    }
}

void readProduct(const Node& node, DescribedMachine& described) {
    node.expectKeys({"code", "upgradeCode", "info", "package", "type", "version", "bits", "home"});
    const bool isByVersion = node.has("type") || node.has("version") || !node.has("code");
    simulated::Product product =
        isByVersion ? completeProduct(node, described) : simulated::Product();
    readCode(node, "code", product.code);
    readCode(node, "upgradeCode", product.upgradeCode);
    node.with("info", [&](const Node& info) {
        for (const auto& [name, value] : info.members()) {
            product.properties[fromUtf8(name)] = value.text();
        }
    });
    if (node.has("package") || !isByVersion) {
        static const Json kEmpty = Json::object();
        product.package = readPackage(node.has("package") ? node["package"] : Node("", kEmpty));
    }
    if (described.machine.installer.product(product.code) != nullptr) {
        node.refuse("each product once", simulated::toUtf8(product.code) + " again");
    }
    described.machine.installer.addProduct(std::move(product));
}

simulated::ShellLink readShortcut(const Node& node) {
    simulated::ShellLink link;
    node.expectKeys({"target", "arguments", "description", "icon", "internet"});
    node.read("target", link.target);
    node.read("arguments", link.arguments);
    node.read("description", link.description);
    node.read("internet", link.internet);
    node.read("icon", link.icon);
    if (const std::size_t comma = link.icon.rfind(u','); comma != link.icon.npos) {
        const std::string index = simulated::toUtf8(link.icon.substr(comma + 1));
        std::from_chars(index.data(), index.data() + index.size(), link.iconIndex);
        link.icon.resize(comma);
    }
    return link;
}

std::string readContent(const Node& node) {
    const std::uint64_t size = node.has("size") ? node["size"].number(kMostBytes) : 0;
    return node.has("manifest")   ? contentOfManifest(node["manifest"].utf8(), size)
           : node.has("shortcut") ? simulated::shellLinkText(readShortcut(node["shortcut"]))
           : node.has("text")     ? node["text"].utf8()
                                  : contentOfSize(size);
}

void readFile(const std::string& name, const Node& node, DescribedMachine& described) {
    simulated::Volumes& volumes = described.machine.volumes;
    const std::u16string path = pathOf(node, name);
    if (!name.ends_with('\\')) {
        node.expectKeys({"size", "version", "text", "manifest", "readOnly", "inUse", "shortcut"});
        volumes.addFile(path, readContent(node));
    } else {
        node.expectKeys({"link", "readOnly"});
        volumes.addDirectory(path);
        node.with("link",
                  [&](const Node& link) { volumes.addJunction(path, pathOf(link, link.utf8())); });
    }
    node.with("version", [&](const Node& version) {
        const auto numbers = readVersion<4>(version);
        volumes.setVersion(path, numbers[0], numbers[1], numbers[2], numbers[3]);
    });
    bool isReadOnly = false;
    node.read("readOnly", isReadOnly);
    volumes.setReadOnly(path, isReadOnly);
    bool isInUse = false;
    node.read("inUse", isInUse);
    if (isInUse) {
        volumes.lockAsProgram(path);
    }
    described.named.insert(foldedName(name));
}

void readMoves(const Node& node, Machine& machine) {
    for (const Node& item : node.items()) {
        simulated::DelayedMove move;
        item.expectKeys({"from", "to"});
        item.read("from", move.from);
        item.read("to", move.to);
        machine.volumes.delayMove(move);
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
    description.expectKeys({"windows", "process", "folders", "drives", "registry", "products",
                            "package", "files", "atRestart", "unread"});
    description.with("windows", [&](const Node& part) { readWindows(part, machine); });
    description.with("process", [&](const Node& part) { readProcess(part, machine); });
    description.with("drives", [&](const Node& part) { readDrives(part, machine); });
    description.with("folders", [&](const Node& part) { readFolders(part, machine); });
    machine.volumes.addDirectory(*machine.shell.folder(CSIDL_COMMON_PROGRAMS));
    description.with("registry", [&](const Node& part) { readRegistry(part, described); });
    description.with("files", [&](const Node& part) {
        for (const auto& [name, file] : part.members()) {
            arrange(file, [&, &path = name, &node = file] { readFile(path, node, described); });
        }
    });
    description.with("products", [&](const Node& part) {
        for (const Node& product : part.items()) {
            readProduct(product, described);
        }
    });
    description.with("package", [&](const Node& part) { described.package = readPackage(part); });
    description.with("atRestart", [&](const Node& part) { readMoves(part, machine); });
    for (const char* part : {"windows", "process", "folders", "drives", "package", "unread"}) {
        description.with(part, [&](const Node& node) {
            Json& kept = described.fixedParts[part];
            if (node.json().is_object()) {
                kept.update(node.json(), true);
            } else {
                kept = node.json();
            }
        });
    }
}
