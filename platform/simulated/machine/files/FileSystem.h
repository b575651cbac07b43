// The file system as the functions of the process use it: finding, opening, creating, deleting,
// copying and moving, with the statuses of Windows.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <windef.h>
#include <fileapi.h>

#include "simulated/machine/files/FilePath.h"
#include "simulated/machine/files/FileTree.h"
#include "simulated/machine/files/OpenFile.h"

namespace simulated {

/// A move or, with nothing to move to, a deletion put off until the next restart.
struct DelayedMove {
    std::u16string from;
    std::u16string to;
    bool replaces = false;
};

/// Names are kept as they were given and compared without case, each long name has a short one
/// beside it as on NTFS, links are followed, and files in use can't be opened, deleted or replaced
/// against the share modes of their users.
class FileSystem {
public:
    struct Volume {
        DWORD type = DRIVE_FIXED;
        std::shared_ptr<FileNode> root;
    };

    /// Adds an empty drive, "C:", or share, "\\server\share"; replaces the one of that name.
    void mount(std::u16string_view name, DWORD type);
    const NameMap<Volume>& volumes() const { return volumes_; }

    struct Place {
        /// 2: the last name is missing, 3: a name before it, 5: the entry is being deleted
        DWORD status = 0;
        std::shared_ptr<FileNode> parent = {};  ///< null for a root and if it is missing
        std::shared_ptr<FileNode> node = {};    ///< null if it is missing
        std::u16string name = {};               ///< the last name as given
        bool writable = true;
    };
    /// `follow`: a link in the last place counts as what it leads to.
    Place find(const FilePath& path, bool follow) const;
    /// As `find`, but refuses a path at which nothing is.
    Place existing(const FilePath& path, bool follow) const;

    // These refuse what Windows refuses, with its status.

    struct OpenRequest {
        DWORD access = 0;
        DWORD share = 0;
        DWORD disposition = OPEN_EXISTING;
        DWORD flags = 0;            ///< and FILE_ATTRIBUTE_READONLY of a file that is made
        std::string security = {};  ///< descriptor of a file that is made
    };
    struct Opened {
        std::shared_ptr<OpenFile> file;
        bool existed;
    };
    Opened open(const FilePath& path, const OpenRequest& request);

    void createDirectory(const FilePath& path);
    void removeDirectory(const FilePath& path);
    void deleteFile(const FilePath& path);
    void changeAttributes(const FilePath& path, DWORD attributes);
    /// `part`: the copy ends in the middle.
    void copyFile(const FilePath& from, const FilePath& to, bool failIfExists, bool part = false);
    /// `part`: a move to another drive ends in the middle of the copy, any other before it begins.
    void moveFile(const FilePath& from, const FilePath& to, DWORD flags, bool part = false);
    /// Whether the process may not write to a thing, delete or rename it, or make entries in it.
    bool isWriteDenied(const FileNode& node) const;

    /// Returns DRIVE_NO_ROOT_DIR if there is no drive or share of that name.
    DWORD driveType(std::u16string_view volume) const;

    /// Puts a move or deletion off until `carryOutDelayedMoves`.
    void delayMove(DelayedMove move) { delayedMoves_.push_back(std::move(move)); }
    const std::vector<DelayedMove>& delayedMoves() const { return delayedMoves_; }
    /// Carries the delayed moves out in their order, as the start of Windows does, with every
    /// right. A move that fails is discarded.
    void carryOutDelayedMoves();

    const std::u16string& currentDirectory() const { return currentDirectory_; }
    void setCurrentDirectory(std::u16string_view path);

private:
    /// A path followed up to its end or to the first link in it.
    struct Walk {
        Place place;
        std::shared_ptr<FileNode> link = nullptr;
        std::vector<std::u16string> remaining = {};  ///< the names after the link
    };
    Walk walkToLink(const FilePath& path, bool follow) const;
    void demandOpenable(const Place& place, const FilePath& path, const OpenRequest& request) const;
    void demandOverwritable(const Place& place) const;
    bool mayReplace(const FileNode& node) const;
    /// Moves within one volume.
    void moveWithin(const Place& source, const Place& target, const FileNode& targetParent,
                    DWORD flags, bool part);
    void carryOut(const DelayedMove& move);
    /// Refuses to create an entry at a place that is missing.
    void demandAddable(const Place& place) const;
    void demandDeletable(const Place& place) const;
    bool isReadDenied(const FileNode& node) const { return node.readDenied && !isStarting_; }

    NameMap<Volume> volumes_;
    std::vector<DelayedMove> delayedMoves_;
    std::u16string currentDirectory_ = u"C:\\Windows\\System32";
    bool isStarting_ = false;  ///< Windows itself, which may do everything
};

}  // namespace simulated
