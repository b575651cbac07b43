#include "simulated/machine/files/FileSystem.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include "simulated/machine/Machine.h"
#include "simulated/machine/Wide.h"

namespace simulated {

namespace {

constexpr int kMaxLinks = 63;
constexpr std::size_t kMaxDirectoryUnits = 248;  // a directory's path leaves room for an 8.3 name
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kKeptAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                  FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

/// Where a link leads.
FilePath linkTarget(const FileNode& link) {
    FilePath target;
    const DWORD tag = link.reparseTag();
    const std::u16string name = substituteName(link.reparse);
    if (tag != IO_REPARSE_TAG_MOUNT_POINT && tag != IO_REPARSE_TAG_SYMLINK) {
        target.status = ERROR_CANT_ACCESS_FILE;
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
    Place place;
    place.status = path.isDevice ? ERROR_INVALID_NAME : path.status;
    if (place.status != ERROR_SUCCESS) {
        return place;
    }
    std::u16string volumeName = path.volume;
    std::vector<std::u16string> names = path.names;
    for (int links = 0; links <= kMaxLinks; ++links) {
        place = {};
        const auto volume = volumes_.find(volumeName);
        if (volume == volumes_.end()) {
            place.status = volumeName.starts_with(u'\\') ? ERROR_BAD_NETPATH : ERROR_PATH_NOT_FOUND;
            return place;
        }
        place.writable = volume->second.type != DRIVE_CDROM;
        std::shared_ptr<FileNode> node = volume->second.root;
        std::size_t i = 0;
        for (; i < names.size(); ++i) {
            const bool isLast = i + 1 == names.size();
            place.parent = node;
            place.name = names[i];
            node = node->entry(names[i]);
            if (node == nullptr) {
                place.status = isLast && place.parent->isDirectory ? ERROR_FILE_NOT_FOUND
                                                                   : ERROR_PATH_NOT_FOUND;
                place.parent = place.status == ERROR_FILE_NOT_FOUND ? place.parent : nullptr;
                return place;
            }
            if (!node->reparse.empty() && (follow || !isLast)) {
                break;
            }
        }
        if (i == names.size()) {
            place.node = node;
            place.status = path.endsInSeparator && !node->isDirectory ? ERROR_INVALID_NAME
                           : node->deletePending                      ? ERROR_ACCESS_DENIED
                                                                      : ERROR_SUCCESS;
            return place;
        }
        FilePath target = linkTarget(*node);
        if (target.status != ERROR_SUCCESS) {
            place = {};
            place.status = target.status;
            return place;
        }
        volumeName = target.volume;
        target.names.insert(target.names.end(), names.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                            names.end());
        names = std::move(target.names);
    }
    place = {};
    place.status = ERROR_CANT_RESOLVE_FILENAME;
    return place;
}

bool FileSystem::isWriteDenied(const FileNode& node) const {
    return !isStarting_ && (node.writeDenied || (node.isForAdministrators() &&
                                                 !Machine::current().security.administers()));
}

DWORD FileSystem::mayAdd(const Place& place) const {
    if (!place.writable) {
        return ERROR_WRITE_PROTECT;
    }
    return isWriteDenied(*place.parent) || place.parent->deletePending ? ERROR_ACCESS_DENIED
                                                                       : ERROR_SUCCESS;
}

DWORD FileSystem::mayDelete(const Place& place) const {
    const FileNode& node = *place.node;
    if (!place.writable) {
        return ERROR_WRITE_PROTECT;
    }
    if (node.parent == nullptr || isWriteDenied(node)) {
        return ERROR_ACCESS_DENIED;
    }
    return node.isUsedAgainst(FILE_SHARE_DELETE, kShareAll) ? ERROR_SHARING_VIOLATION
                                                            : ERROR_SUCCESS;
}

FileSystem::Opened FileSystem::open(const FilePath& path, const OpenRequest& request) {
    const bool truncates = request.disposition == CREATE_ALWAYS;
    const DWORD attributes = (request.flags & FILE_ATTRIBUTE_READONLY) | FILE_ATTRIBUTE_ARCHIVE;
    Place place = find(path, (request.flags & FILE_FLAG_OPEN_REPARSE_POINT) == 0);
    const auto failed = [](DWORD status) { return Opened{status, nullptr, false}; };

    if (place.status == ERROR_FILE_NOT_FOUND && request.disposition != OPEN_EXISTING) {
        const DWORD refused = path.endsInSeparator ? ERROR_INVALID_NAME : mayAdd(place);
        if (refused != ERROR_SUCCESS) {
            return failed(refused);
        }
        place.node = std::make_shared<FileNode>();
        place.node->attributes = attributes;
        place.node->security = request.security;
        place.parent->add(place.node, place.name);
        return {ERROR_SUCCESS,
                std::make_shared<OpenFile>(place.node, request.access, request.share), false};
    }
    if (place.status != ERROR_SUCCESS) {
        return failed(place.status);
    }

    FileNode& node = *place.node;
    const bool writes = (request.access & GENERIC_WRITE) != 0;
    if (request.disposition == CREATE_NEW) {
        return failed(ERROR_FILE_EXISTS);
    }
    if (node.isDirectory && (truncates || (request.flags & FILE_FLAG_BACKUP_SEMANTICS) == 0)) {
        return failed(ERROR_ACCESS_DENIED);
    }
    if (!place.writable && writes) {
        return failed(ERROR_WRITE_PROTECT);
    }
    // A file that is hidden or belongs to the system isn't replaced by one that is neither.
    const DWORD keepsContent = (node.isDirectory ? 0 : FILE_ATTRIBUTE_READONLY) |
                               (truncates ? FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM : 0);
    if ((isReadDenied(node) && (request.access & GENERIC_READ) != 0) ||
        (writes && (isWriteDenied(node) || (node.attributes & keepsContent) != 0))) {
        return failed(ERROR_ACCESS_DENIED);
    }
    if (node.isUsedAgainst(sharedAccess(request.access), request.share)) {
        return failed(ERROR_SHARING_VIOLATION);
    }
    auto file = std::make_shared<OpenFile>(place.node, request.access, request.share);
    if (truncates) {
        file->resize(0);
        node.attributes |= attributes;
    }
    return {ERROR_SUCCESS, std::move(file), true};
}

DWORD FileSystem::createDirectory(const FilePath& path) {
    if (path.isDevice) {
        return ERROR_DIRECTORY;
    }
    if (!path.isLiteral && path.length >= kMaxDirectoryUnits) {
        return ERROR_FILENAME_EXCED_RANGE;
    }
    FilePath entry = path;
    entry.endsInSeparator = false;
    const Place place = find(entry, false);
    if (place.status == ERROR_SUCCESS) {
        return place.node->parent == nullptr ? ERROR_ACCESS_DENIED : ERROR_ALREADY_EXISTS;
    }
    if (place.status != ERROR_FILE_NOT_FOUND) {
        return place.status;
    }
    const DWORD refused = mayAdd(place);
    if (refused == ERROR_SUCCESS) {
        auto node = std::make_shared<FileNode>();
        node->isDirectory = true;
        place.parent->add(std::move(node), place.name);
    }
    return refused;
}

DWORD FileSystem::removeDirectory(const FilePath& path) {
    const Place place = find(path, false);
    if (place.status != ERROR_SUCCESS) {
        return place.status;
    }
    FileNode& node = *place.node;
    if (!node.isDirectory) {
        return ERROR_DIRECTORY;
    }
    const DWORD refused = mayDelete(place);
    if (refused != ERROR_SUCCESS) {
        return refused;
    }
    if (sameText(node.path(), currentDirectory_)) {
        return ERROR_SHARING_VIOLATION;
    }
    if ((node.attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        return ERROR_ACCESS_DENIED;
    }
    if (!node.entries.empty()) {
        return ERROR_DIR_NOT_EMPTY;
    }
    takeOrMark(node);
    return ERROR_SUCCESS;
}

DWORD FileSystem::deleteFile(const FilePath& path) {
    const Place place = find(path, false);
    if (place.status != ERROR_SUCCESS) {
        return place.status;
    }
    FileNode& node = *place.node;
    if (node.isDirectory) {
        return ERROR_ACCESS_DENIED;
    }
    const DWORD refused = mayDelete(place);
    if (refused != ERROR_SUCCESS) {
        return refused;
    }
    if ((node.attributes & FILE_ATTRIBUTE_READONLY) != 0 || node.isProgram()) {
        return ERROR_ACCESS_DENIED;
    }
    takeOrMark(node);
    return ERROR_SUCCESS;
}

DWORD FileSystem::changeAttributes(const FilePath& path, DWORD attributes) {
    const Place place = find(path, false);
    if (place.status != ERROR_SUCCESS) {
        return place.status;
    }
    if (!place.writable) {
        return ERROR_WRITE_PROTECT;
    }
    if (isWriteDenied(*place.node)) {
        return ERROR_ACCESS_DENIED;
    }
    place.node->attributes = attributes & kKeptAttributes;
    return ERROR_SUCCESS;
}

DWORD FileSystem::copyFile(const FilePath& from, const FilePath& to, bool failIfExists, bool part) {
    const Place source = find(from, true);
    if (source.status != ERROR_SUCCESS) {
        return source.status;
    }
    if (source.node->isDirectory || isReadDenied(*source.node)) {
        return ERROR_ACCESS_DENIED;
    }
    if (source.node->isUsedAgainst(FILE_SHARE_READ, kShareAll)) {
        return ERROR_SHARING_VIOLATION;
    }
    Place target = find(to, true);
    if (target.status == ERROR_FILE_NOT_FOUND && !to.endsInSeparator) {
        const DWORD refused = mayAdd(target);
        if (refused != ERROR_SUCCESS) {
            return refused;
        }
        target.node = std::make_shared<FileNode>();
        target.parent->add(target.node, target.name);
    } else if (target.status != ERROR_SUCCESS) {
        return target.status;
    } else if (failIfExists) {
        return ERROR_FILE_EXISTS;
    } else if (target.node == source.node) {
        return ERROR_SHARING_VIOLATION;
    } else if (!target.writable) {
        return ERROR_WRITE_PROTECT;
    } else if (target.node->isDirectory || isWriteDenied(*target.node) ||
               (target.node->attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN)) != 0) {
        return ERROR_ACCESS_DENIED;
    } else if (target.node->isUsedAgainst(FILE_SHARE_WRITE, 0)) {
        return ERROR_SHARING_VIOLATION;
    }
    const std::string& content = source.node->content;
    target.node->content = content.substr(0, part ? content.size() / 2 : content.size());
    target.node->version = part ? std::string() : source.node->version;
    target.node->attributes = source.node->attributes | FILE_ATTRIBUTE_ARCHIVE;
    return ERROR_SUCCESS;
}

DWORD FileSystem::moveFile(const FilePath& from, const FilePath& to, DWORD flags, bool part) {
    const Place source = find(from, false);
    if (source.status != ERROR_SUCCESS) {
        return source.status;
    }
    const Place target = find(to, false);
    if (target.status != ERROR_SUCCESS && target.status != ERROR_FILE_NOT_FOUND) {
        return target.status;
    }
    FileNode& node = *source.node;
    const FileNode& targetParent = target.parent == nullptr ? *target.node : *target.parent;
    if (&rootOf(targetParent) != &rootOf(node)) {
        if ((flags & MOVEFILE_COPY_ALLOWED) == 0) {
            return ERROR_NOT_SAME_DEVICE;
        }
        const DWORD status = copyFile(from, to, (flags & MOVEFILE_REPLACE_EXISTING) == 0, part);
        if (status == ERROR_SUCCESS && !part) {
            deleteFile(from);  // where that fails the source stays, and the move has succeeded
        }
        return status == ERROR_FILE_EXISTS ? ERROR_ALREADY_EXISTS : status;
    }
    const DWORD refused = mayDelete(source);
    if (part || refused != ERROR_SUCCESS) {
        return refused;
    }
    if (node.isDirectory && hasOpenEntries(node)) {
        return ERROR_ACCESS_DENIED;
    }
    if (isWithin(targetParent, node)) {
        return ERROR_SHARING_VIOLATION;
    }
    if (target.node != nullptr && target.node != source.node) {
        if ((flags & MOVEFILE_REPLACE_EXISTING) == 0) {
            return ERROR_ALREADY_EXISTS;
        }
        if (target.node->isDirectory || node.isDirectory || isWriteDenied(*target.node) ||
            (target.node->attributes & FILE_ATTRIBUTE_READONLY) != 0 ||
            !target.node->uses.empty() || target.node->openHandles != 0) {
            return ERROR_ACCESS_DENIED;
        }
        target.node->parent->take(*target.node);
    } else if (target.node == nullptr) {
        const DWORD unwelcome = mayAdd(target);
        if (unwelcome != ERROR_SUCCESS) {
            return unwelcome;
        }
    }
    node.parent->take(node);
    target.parent->add(source.node, target.name);
    return ERROR_SUCCESS;
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
        carryOut(move);
    }
    isStarting_ = false;
}

void FileSystem::carryOut(const DelayedMove& move) {
    const FilePath from = parsePath(u"\\\\?\\" + move.from, {});
    if (move.to.empty()) {
        const Place place = find(from, false);
        if (place.node != nullptr) {
            place.node->isDirectory ? removeDirectory(from) : deleteFile(from);
        }
        return;
    }
    moveFile(from, parsePath(u"\\\\?\\" + move.to, {}),
             move.replaces ? MOVEFILE_REPLACE_EXISTING : 0);
}

}  // namespace simulated
