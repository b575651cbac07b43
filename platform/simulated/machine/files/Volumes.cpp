#include "simulated/machine/files/Volumes.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <stdexcept>

#include "simulated/machine/security/Security.h"
#include "simulated/machine/files/VersionBlock.h"
#include "simulated/machine/Wide.h"

namespace simulated {

namespace {

constexpr std::u16string_view kRoot = u"C:\\";
constexpr std::u16string_view kNtPrefix = u"\\??\\";
constexpr DWORD kSettableAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                      FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;
constexpr std::u16string_view kLogFile = u"tolmark.log";

/// In the order that Windows itself made them, which decides on the short names.
constexpr std::u16string_view kWindowsDirectories[] = {
    u"C:\\Program Files\\Common Files",
    u"C:\\Program Files (x86)\\Common Files",
    u"C:\\ProgramData",
    u"C:\\Users\\User\\AppData\\Local\\Temp",
    u"C:\\Windows\\Installer",
    u"C:\\Windows\\System32",
    u"C:\\Windows\\SysWOW64",
    u"C:\\Windows\\Temp",
};

constexpr std::u16string_view kForAdministrators[] = {u"C:\\Program Files",
                                                      u"C:\\Program Files (x86)", u"C:\\Windows"};

[[noreturn]] void refuse(std::u16string_view path, const char* reason) {
    throw std::invalid_argument(toUtf8(path) + ": " + reason);
}

std::u16string ntPath(std::u16string_view target) {
    const bool isShare = target.starts_with(u"\\\\");
    return std::u16string(kNtPrefix) + (isShare ? u"UNC" : u"") +
           std::u16string(target.substr(isShare ? 1 : 0));
}

std::u16string withoutNtPrefix(std::u16string_view name) {
    return std::u16string(name.starts_with(kNtPrefix) ? name.substr(kNtPrefix.size()) : name);
}

bool isShown(const std::string& content) {
    constexpr std::size_t kMaxShown = 60;
    return content.size() <= kMaxShown &&
           std::all_of(content.begin(), content.end(),
                       [](unsigned char c) { return c >= 32 && c != 127; });
}

/// The content itself where it is short and printable, else its size and a hash (FNV-1a).
std::string describeContent(const std::string& content) {
    if (isShown(content)) {
        return "\"" + content + "\"";
    }
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const unsigned char c : content) {
        hash = (hash ^ c) * 0x100000001b3;
    }
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%zu bytes %016llx", content.size(),
                  static_cast<unsigned long long>(hash));
    return text.data();
}

std::string describeAttributes(DWORD attributes) {
    constexpr std::pair<DWORD, const char*> kNames[] = {
        {FILE_ATTRIBUTE_READONLY, " read-only"},
        {FILE_ATTRIBUTE_HIDDEN, " hidden"},
        {FILE_ATTRIBUTE_SYSTEM, " system"},
    };
    std::string text;
    for (const auto& [bit, name] : kNames) {
        text += (attributes & bit) != 0 ? name : "";
    }
    return text;
}

std::string describeSecurity(const std::string& descriptor) {
    return descriptor.empty()
               ? std::string()
               : describeDescriptor(
                     {reinterpret_cast<const std::uint8_t*>(descriptor.data()), descriptor.size()});
}

std::string describeNode(const FileNode& node) {
    std::string line = node.isDirectory ? "directory " : "file ";
    line += toUtf8(node.path());
    if (!node.reparse.empty()) {
        const std::u16string target = substituteName(node.reparse);
        line += " -> " +
                (target.empty() ? describeContent(node.reparse) : toUtf8(withoutNtPrefix(target)));
    }
    line += describeAttributes(node.attributes);
    if (!node.isDirectory) {
        line += " " + describeContent(node.content);
    }
    if (!node.version.empty()) {
        line += " version " + describeVersion(node.version);
    }
    if (!node.security.empty()) {
        line += " " + describeSecurity(node.security);
    }
    return line;
}

/// Calls a function with each node below a directory, in order, directories before their
/// entries.
template <class Visit>
void forEachBelow(const FileNode& directory, const Visit& visit) {
    for (const auto& [name, node] : directory.entries) {
        visit(*node);
        forEachBelow(*node, visit);
    }
}

/// Adds the paths of the files at and below a node.
void addFiles(const FileNode& node, std::vector<std::u16string>& paths) {
    if (!node.isDirectory) {
        paths.push_back(node.path());
    }
    forEachBelow(node, [&](const FileNode& below) {
        if (!below.isDirectory) {
            paths.push_back(below.path());
        }
    });
}

}  // namespace

Volumes::Volumes(FileSystem& fileSystem) : fileSystem_(fileSystem) {
    addDrive(u'C');
    for (const std::u16string_view directory : kWindowsDirectories) {
        addDirectory(directory);
    }
    for (const std::u16string_view directory : kForAdministrators) {
        restrictToAdministrators(directory);
    }
    existing(u"C:\\Windows\\Temp").forAdministrators = false;
}

void Volumes::addDrive(char16_t letter, DWORD type) {
    fileSystem_.mount(std::u16string{letter, u':'}, type);
}

void Volumes::addShare(std::u16string_view share) {
    const FilePath path = parsePath(share, kRoot);
    if (path.status != ERROR_SUCCESS || !path.names.empty() || !path.volume.starts_with(u'\\')) {
        refuse(share, "not a share");
    }
    fileSystem_.mount(path.volume, DRIVE_REMOTE);
}

void Volumes::addDirectory(std::u16string_view path) {
    makeDirectory(path);
}

void Volumes::addFile(std::u16string_view path, std::string content) {
    FilePath directory = parsePath(path, kRoot);
    if (directory.status != ERROR_SUCCESS || directory.names.empty()) {
        refuse(path, "not a file's path");
    }
    const std::u16string name = directory.names.back();
    directory.names.pop_back();
    FileNode& parent = makeDirectory(directory.text());
    std::shared_ptr<FileNode> node = parent.entry(name);
    if (node == nullptr) {
        node = std::make_shared<FileNode>();
        node->attributes = FILE_ATTRIBUTE_ARCHIVE;
        parent.add(node, name);
    } else if (node->isDirectory) {
        refuse(path, "is a directory");
    }
    node->content = std::move(content);
    node->version.clear();
}

void Volumes::addJunction(std::u16string_view link, std::u16string_view target) {
    makeDirectory(link).reparse = linkBuffer(IO_REPARSE_TAG_MOUNT_POINT, ntPath(target), target);
}

void Volumes::setReparsePoint(std::u16string_view path, std::string buffer) {
    existing(path).reparse = std::move(buffer);
}

void Volumes::remove(std::u16string_view path) {
    FileNode& node = existing(path);
    if (node.parent == nullptr) {
        refuse(path, "is a root");
    }
    node.parent->take(node);
}

void Volumes::setReadOnly(std::u16string_view path, bool readOnly) {
    DWORD& attributes = existing(path).attributes;
    attributes = readOnly ? attributes | FILE_ATTRIBUTE_READONLY
                          : attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY);
}

void Volumes::setAttributes(std::u16string_view path, DWORD attributes) {
    existing(path).attributes = attributes & kSettableAttributes;
}

void Volumes::setVersion(std::u16string_view path, WORD major, WORD minor, WORD build,
                         WORD revision) {
    setVersionResource(path, versionBlock({major, minor, build, revision}));
}

void Volumes::setVersionResource(std::u16string_view path, std::string block) {
    existing(path).version = std::move(block);
}

void Volumes::hold(std::u16string_view path, FileUse use) {
    existing(path);
    foreignUses_.push_back({find(path), std::make_unique<FileUse>(use)});
    foreignUses_.back().node->uses.push_back(foreignUses_.back().use.get());
}

void Volumes::lock(std::u16string_view path) {
    hold(path, {FILE_SHARE_READ | FILE_SHARE_WRITE, 0});
}

void Volumes::lockForReading(std::u16string_view path) {
    hold(path, {FILE_SHARE_READ, FILE_SHARE_READ});
}

void Volumes::lockAsProgram(std::u16string_view path) {
    hold(path, {0, FILE_SHARE_READ | FILE_SHARE_DELETE, true});
}

void Volumes::unlock(std::u16string_view path) {
    const FileNode& node = existing(path);
    std::erase_if(foreignUses_, [&](const ForeignUse& foreign) {
        if (foreign.node.get() != &node) {
            return false;
        }
        std::erase(foreign.node->uses, foreign.use.get());
        return true;
    });
}

void Volumes::restrictToAdministrators(std::u16string_view path) {
    existing(path).forAdministrators = true;
}

void Volumes::denyRead(std::u16string_view path) {
    existing(path).readDenied = true;
}

void Volumes::denyWrite(std::u16string_view path) {
    existing(path).writeDenied = true;
}

bool Volumes::exists(std::u16string_view path) const {
    return find(path) != nullptr;
}

bool Volumes::isDirectory(std::u16string_view path) const {
    const std::shared_ptr<FileNode> node = find(path);
    return node != nullptr && node->isDirectory;
}

std::optional<std::string> Volumes::content(std::u16string_view path) const {
    const std::shared_ptr<FileNode> node = find(path);
    return node == nullptr || node->isDirectory ? std::nullopt : std::optional(node->content);
}

DWORD Volumes::attributes(std::u16string_view path) const {
    const std::shared_ptr<FileNode> node = find(path);
    return node == nullptr ? INVALID_FILE_ATTRIBUTES : node->allAttributes();
}

std::optional<std::u16string> Volumes::junctionTarget(std::u16string_view path) const {
    const std::shared_ptr<FileNode> node = find(path);
    const std::u16string name = node == nullptr ? u"" : substituteName(node->reparse);
    return name.empty() ? std::nullopt : std::optional(withoutNtPrefix(name));
}

std::string Volumes::security(std::u16string_view path) const {
    return describeSecurity(existing(path).security);
}

std::vector<std::u16string> Volumes::files() const {
    std::vector<std::u16string> paths;
    for (const auto& [name, volume] : fileSystem_.volumes()) {
        addFiles(*volume.root, paths);
    }
    return paths;
}

std::vector<std::u16string> Volumes::files(std::u16string_view below) const {
    std::vector<std::u16string> paths;
    if (const std::shared_ptr<FileNode> node = find(below)) {
        addFiles(*node, paths);
    }
    return paths;
}

void Volumes::describe(std::vector<std::string>& lines) const {
    for (const auto& [name, volume] : fileSystem_.volumes()) {
        lines.push_back("drive " + toUtf8(name) + " type " + std::to_string(volume.type));
        forEachBelow(*volume.root, [&](const FileNode& node) {
            if (!sameText(node.name, kLogFile)) {
                lines.push_back(describeNode(node));
            }
        });
    }
    for (const DelayedMove& move : delayedMoves()) {
        lines.push_back("at restart " + toUtf8(move.from) +
                        (move.to.empty() ? " is deleted" : " is moved to " + toUtf8(move.to)));
    }
}

void Volumes::restart() {
    for (const ForeignUse& foreign : foreignUses_) {
        std::erase(foreign.node->uses, foreign.use.get());
    }
    foreignUses_.clear();
    fileSystem_.carryOutDelayedMoves();
}

std::shared_ptr<FileNode> Volumes::find(std::u16string_view path) const {
    return fileSystem_.find(parsePath(path, kRoot), false).node;
}

FileNode& Volumes::existing(std::u16string_view path) const {
    const std::shared_ptr<FileNode> node = find(path);
    if (node == nullptr) {
        refuse(path, "isn't there");
    }
    return *node;  // its directory keeps it
}

FileNode& Volumes::makeDirectory(std::u16string_view path) {
    const FilePath whole = parsePath(path, kRoot);
    FilePath part = whole;
    part.names.clear();
    part.endsInSeparator = false;
    FileSystem::Place place = fileSystem_.find(part, true);
    for (const std::u16string& name : whole.names) {
        part.names.push_back(name);
        place = fileSystem_.find(part, part.names.size() < whole.names.size());
        if (place.status == ERROR_FILE_NOT_FOUND && place.parent != nullptr) {
            place.node = std::make_shared<FileNode>();
            place.node->isDirectory = true;
            place.parent->add(place.node, place.name);
        }
    }
    if (place.node == nullptr || !place.node->isDirectory) {
        refuse(path, "can't be a directory");
    }
    return *place.node;
}

}  // namespace simulated
