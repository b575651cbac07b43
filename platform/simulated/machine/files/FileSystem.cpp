#include "simulated/machine/files/FileSystem.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include "simulated/machine/Machine.h"
#include "simulated/machine/Wide.h"

namespace simulated {

namespace {

constexpr int kMaxLinks = 63;
constexpr std::size_t kMaxDirectoryUnits = 248;  // with an 8.3 name in it, the path has MAX_PATH
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kKeptAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                  FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

/// Returns where a link leads. A relative symbolic link counts from its own directory.
FilePath linkTarget(const FileNode& link) {
    FilePath target;
    const DWORD tag = link.reparseTag();
    const std::u16string name = substituteName(link.reparse);
    if (tag != IO_REPARSE_TAG_MOUNT_POINT && tag != IO_REPARSE_TAG_SYMLINK) {
        target.status = ERROR_CANT_ACCESS_FILE;
    } else if (isRelativeLink(link.reparse)) {
        target = parsePath(name, link.parent->path());
    } else if (name.starts_with(u"\\??\\")) {
        target = parsePath(u"\\\\?\\" + name.substr(4), {});
    } else {
        target.status = ERROR_INVALID_REPARSE_DATA;
    }
    return target;
}

const FileNode& rootOf(const FileNode& node) {
    return node.parent == nullptr ? node : rootOf(*node.parent);
}

bool isWithin(const FileNode& node, const FileNode& directory) {
    return &node == &directory || (node.parent != nullptr && isWithin(*node.parent, directory));
}

bool hasOpenEntries(const FileNode& directory) {
    return std::any_of(directory.entries.begin(), directory.entries.end(), [](const auto& entry) {
        const FileNode& node = *entry.second;
        return !node.uses.empty() || node.openHandles != 0 || hasOpenEntries(node);
    });
}

/// Takes a node away now or, if it is open, as soon as it is closed.
void takeOrMark(FileNode& node) {
    if (node.openHandles != 0) {
        node.deletePending = true;
    } else {
        node.parent->take(node);
    }
}

}  // namespace

void FileSystem::mount(std::u16string_view name, DWORD type) {
    Volume volume{type, std::make_shared<FileNode>()};
    volume.root->isDirectory = true;
    volume.root->name = name;
    volumes_.insert_or_assign(volume.root->name, volume);
}

FileSystem::Place FileSystem::find(const FilePath& path, bool follow) const {
    if (path.status != ERROR_SUCCESS) {
        return Place{.status = path.status};
    }
    FilePath rest = path;
    for (int links = 0; links <= kMaxLinks; ++links) {
        Walk walk = walkToLink(rest, follow);
        if (walk.link == nullptr) {
            return walk.place;
        }
        FilePath target = linkTarget(*walk.link);
        if (target.status != ERROR_SUCCESS) {
            return Place{.status = target.status};
        }
        target.names.insert(target.names.end(), walk.remaining.begin(), walk.remaining.end());
        rest.volume = target.volume;
        rest.names = std::move(target.names);
    }
    return Place{.status = ERROR_CANT_RESOLVE_FILENAME};
}

FileSystem::Walk FileSystem::walkToLink(const FilePath& path, bool follow) const {
    if (path.isDevice) {
        notSupported("file system", "the device " + toUtf8(path.volume));
    }
    Walk walk;
    Place& place = walk.place;
    const auto volume = volumes_.find(path.volume);
    if (volume == volumes_.end()) {
        place.status = path.volume.starts_with(u'\\') ? ERROR_BAD_NETPATH : ERROR_PATH_NOT_FOUND;
        return walk;
    }
    place.writable = volume->second.type != DRIVE_CDROM;
    std::shared_ptr<FileNode> node = volume->second.root;
    for (auto name = path.names.begin(); name != path.names.end(); ++name) {
        const bool isLast = name + 1 == path.names.end();
        place.parent = node;
        place.name = *name;
        node = node->entry(*name);
        if (node == nullptr) {
            const bool isMissing = isLast && place.parent->isDirectory;
            place.status = isMissing ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
            place.parent = isMissing ? place.parent : nullptr;
            return walk;
        }
        if (!node->reparse.empty() && (follow || !isLast)) {
            walk.link = node;
            walk.remaining.assign(name + 1, path.names.end());
            return walk;
        }
    }
    place.node = node;
    place.status = path.endsInSeparator && !node->isDirectory ? ERROR_INVALID_NAME
                   : node->deletePending                      ? ERROR_ACCESS_DENIED
                                                              : ERROR_SUCCESS;
    return walk;
}

bool FileSystem::isWriteDenied(const FileNode& node) const {
    return !isStarting_ && (node.writeDenied || (node.isForAdministrators() &&
                                                 !Machine::current().security.administers()));
}

FileSystem::Place FileSystem::existing(const FilePath& path, bool follow) const {
    Place place = find(path, follow);
    check(place.status);
    return place;
}

void FileSystem::demandAddable(const Place& place) const {
    demand(place.writable, ERROR_WRITE_PROTECT);
    demand(!isWriteDenied(*place.parent) && !place.parent->deletePending, ERROR_ACCESS_DENIED);
}

void FileSystem::demandDeletable(const Place& place) const {
    const FileNode& node = *place.node;
    demand(place.writable, ERROR_WRITE_PROTECT);
    demand(node.parent != nullptr && !isWriteDenied(node), ERROR_ACCESS_DENIED);
    demand(!node.isUsedAgainst(FILE_SHARE_DELETE, kShareAll), ERROR_SHARING_VIOLATION);
}

FileSystem::Opened FileSystem::open(const FilePath& path, const OpenRequest& request) {
    Place place = find(path, (request.flags & FILE_FLAG_OPEN_REPARSE_POINT) == 0);
    const bool creates =
        place.status == ERROR_FILE_NOT_FOUND && request.disposition != OPEN_EXISTING;
    if (creates) {
        demand(!path.endsInSeparator, ERROR_INVALID_NAME);
        demandAddable(place);
        place.node = std::make_shared<FileNode>();
        place.node->security = request.security;
        place.parent->add(place.node, place.name);
    } else {
        check(place.status);
        demandOpenable(place, path, request);
    }
    auto file = std::make_shared<OpenFile>(place.node, request.access, request.share);
    if (creates || request.disposition == CREATE_ALWAYS) {
        file->resize(0);
        place.node->attributes |=
            (request.flags & FILE_ATTRIBUTE_READONLY) | FILE_ATTRIBUTE_ARCHIVE;
    }
    return {std::move(file), !creates};
}

void FileSystem::demandOpenable(const Place& place, const FilePath& path,
                                const OpenRequest& request) const {
    const FileNode& node = *place.node;
    const bool truncates = request.disposition == CREATE_ALWAYS;
    const bool reads = (request.access & GENERIC_READ) != 0;
    const bool writes = (request.access & GENERIC_WRITE) != 0;
    if (node.isDirectory && (truncates || (request.flags & FILE_FLAG_BACKUP_SEMANTICS) == 0)) {
        refuse(path.endsInSeparator ? ERROR_PATH_NOT_FOUND : ERROR_ACCESS_DENIED);
    }
    demand(request.disposition != CREATE_NEW, ERROR_FILE_EXISTS);
    demand(place.writable || !writes, ERROR_WRITE_PROTECT);
    demand(!reads || !isReadDenied(node), ERROR_ACCESS_DENIED);
    // A hidden file or one of the system isn't replaced by one that is neither.
    const DWORD keepsContent = (node.isDirectory ? 0 : FILE_ATTRIBUTE_READONLY) |
                               (truncates ? FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM : 0);
    demand(!writes || (!isWriteDenied(node) && (node.attributes & keepsContent) == 0),
           ERROR_ACCESS_DENIED);
    demand(!node.isUsedAgainst(sharedAccess(request.access), request.share),
           ERROR_SHARING_VIOLATION);
}

void FileSystem::createDirectory(const FilePath& path) {
    demand(!path.isDevice, ERROR_DIRECTORY);
    demand(path.isLiteral || path.length < kMaxDirectoryUnits, ERROR_FILENAME_EXCED_RANGE);
    FilePath entry = path;
    entry.endsInSeparator = false;
    const Place place = find(entry, false);
    if (place.status == ERROR_SUCCESS) {
        refuse(place.node->parent == nullptr ? ERROR_ACCESS_DENIED : ERROR_ALREADY_EXISTS);
    }
    demand(place.status == ERROR_FILE_NOT_FOUND, place.status);
    demandAddable(place);
    auto node = std::make_shared<FileNode>();
    node->isDirectory = true;
    place.parent->add(std::move(node), place.name);
}

void FileSystem::removeDirectory(const FilePath& path) {
    const Place place = existing(path, false);
    FileNode& node = *place.node;
    demand(node.isDirectory, ERROR_DIRECTORY);
    demandDeletable(place);
    demand(!sameText(node.path(), currentDirectory_), ERROR_SHARING_VIOLATION);
    demand((node.attributes & FILE_ATTRIBUTE_READONLY) == 0, ERROR_ACCESS_DENIED);
    demand(node.entries.empty(), ERROR_DIR_NOT_EMPTY);
    takeOrMark(node);
}

void FileSystem::deleteFile(const FilePath& path) {
    const Place place = existing(path, false);
    FileNode& node = *place.node;
    demand(!node.isDirectory, ERROR_ACCESS_DENIED);
    demandDeletable(place);
    demand((node.attributes & FILE_ATTRIBUTE_READONLY) == 0 && !node.isProgram(),
           ERROR_ACCESS_DENIED);
    takeOrMark(node);
}

void FileSystem::changeAttributes(const FilePath& path, DWORD attributes) {
    const Place place = existing(path, false);
    demand(place.writable, ERROR_WRITE_PROTECT);
    demand(!isWriteDenied(*place.node), ERROR_ACCESS_DENIED);
    place.node->attributes = attributes & kKeptAttributes;
}

void FileSystem::copyFile(const FilePath& from, const FilePath& to, bool failIfExists, bool part) {
    const Place source = existing(from, true);
    demand(!source.node->isDirectory && !isReadDenied(*source.node), ERROR_ACCESS_DENIED);
    demand(!source.node->isUsedAgainst(FILE_SHARE_READ, kShareAll), ERROR_SHARING_VIOLATION);
    Place target = find(to, true);
    if (target.status == ERROR_FILE_NOT_FOUND && !to.endsInSeparator) {
        demandAddable(target);
        target.node = std::make_shared<FileNode>();
        target.parent->add(target.node, target.name);
    } else {
        check(target.status);
        demand(!failIfExists, ERROR_FILE_EXISTS);
        demand(target.node != source.node, ERROR_SHARING_VIOLATION);
        demandOverwritable(target);
    }
    const std::string& content = source.node->content;
    target.node->content = content.substr(0, part ? content.size() / 2 : content.size());
    target.node->version = part ? std::string() : source.node->version;
    target.node->attributes = source.node->attributes | FILE_ATTRIBUTE_ARCHIVE;
}

void FileSystem::demandOverwritable(const Place& place) const {
    constexpr DWORD kKept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
    const FileNode& node = *place.node;
    demand(place.writable, ERROR_WRITE_PROTECT);
    demand(!node.isDirectory && !isWriteDenied(node) && (node.attributes & kKept) == 0,
           ERROR_ACCESS_DENIED);
    demand(!node.isUsedAgainst(FILE_SHARE_WRITE, kShareAll), ERROR_SHARING_VIOLATION);
}

void FileSystem::moveFile(const FilePath& from, const FilePath& to, DWORD flags, bool part) {
    const Place source = existing(from, false);
    const Place target = find(to, false);
    demand(target.status == ERROR_SUCCESS || target.status == ERROR_FILE_NOT_FOUND, target.status);
    const FileNode& targetParent = target.parent == nullptr ? *target.node : *target.parent;
    if (&rootOf(targetParent) == &rootOf(*source.node)) {
        moveWithin(source, target, targetParent, flags, part);
        return;
    }
    demand((flags & MOVEFILE_COPY_ALLOWED) != 0, ERROR_NOT_SAME_DEVICE);
    const DWORD status =
        statusOf([&] { copyFile(from, to, (flags & MOVEFILE_REPLACE_EXISTING) == 0, part); });
    check(status == ERROR_FILE_EXISTS ? ERROR_ALREADY_EXISTS : status);
    if (!part) {
        // Where that fails the source stays, and the move has succeeded.
        statusOf([&] { deleteFile(from); });
    }
}

void FileSystem::moveWithin(const Place& source, const Place& target, const FileNode& targetParent,
                            DWORD flags, bool part) {
    FileNode& node = *source.node;
    demandDeletable(source);
    if (part) {
        return;
    }
    demand(!node.isDirectory || !hasOpenEntries(node), ERROR_ACCESS_DENIED);
    demand(!isWithin(targetParent, node), ERROR_SHARING_VIOLATION);
    const bool replaces = target.node != nullptr && target.node != source.node;
    demand(!replaces || (flags & MOVEFILE_REPLACE_EXISTING) != 0, ERROR_ALREADY_EXISTS);
    demand(!replaces || mayReplace(*target.node), ERROR_ACCESS_DENIED);
    if (target.node == nullptr) {
        demandAddable(target);
    }
    if (replaces) {
        target.node->parent->take(*target.node);
    }
    node.parent->take(node);
    target.parent->add(source.node, target.name);
}

bool FileSystem::mayReplace(const FileNode& node) const {
    return !node.isDirectory && !isWriteDenied(node) &&
           (node.attributes & FILE_ATTRIBUTE_READONLY) == 0 && node.uses.empty() &&
           node.openHandles == 0;
}

DWORD FileSystem::driveType(std::u16string_view volume) const {
    const auto found = volumes_.find(volume);
    return found == volumes_.end() ? DRIVE_NO_ROOT_DIR : found->second.type;
}

void FileSystem::setCurrentDirectory(std::u16string_view path) {
    const std::u16string text = fullPath(path, currentDirectory_);
    currentDirectory_ = parsePath(text, currentDirectory_).text();
}

void FileSystem::carryOutDelayedMoves() {
    isStarting_ = true;
    for (const DelayedMove& move : std::exchange(delayedMoves_, {})) {
        statusOf([&] { carryOut(move); });
    }
    isStarting_ = false;
}

void FileSystem::carryOut(const DelayedMove& move) {
    const FilePath from = parsePath(u"\\\\?\\" + move.from, {});
    if (!move.to.empty()) {
        moveFile(from, parsePath(u"\\\\?\\" + move.to, {}),
                 move.replaces ? MOVEFILE_REPLACE_EXISTING : 0);
        return;
    }
    const Place place = find(from, false);
    if (place.node != nullptr && place.node->isDirectory) {
        removeDirectory(from);
    } else {
        deleteFile(from);
    }
}

}  // namespace simulated
