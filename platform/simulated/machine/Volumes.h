// The drives and shares of the machine, with what stands on them.
//
// Names are kept as they were given and compared without case, each long name has a short one
// beside it as on NTFS, links are followed, and files in use can't be opened, deleted or replaced
// against the share modes of their users.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <windef.h>
#include <fileapi.h>

#include "simulated/machine/FilePath.h"
#include "simulated/machine/FileTree.h"
#include "simulated/machine/OpenFile.h"

namespace simulated {

/// A move or, with nothing to move to, a deletion put off until the next restart.
struct DelayedMove {
    std::u16string from;
    std::u16string to;
    bool replaces = false;
};

class Volumes {
public:
    /// A fixed drive C: with Windows' own folders. An ordinary user may not write to Windows'
    /// folder but for its Temp, nor to those of programs.
    Volumes();
    ~Volumes();
    Volumes(const Volumes&) = delete;
    Volumes& operator=(const Volumes&) = delete;

    // Arranging what stands on the machine. Paths are absolute. Links in front of the last name are
    // followed, a link in the last place is meant itself. A path that doesn't fit, of a drive that
    // isn't there or a file that has to be, throws std::invalid_argument.

    /// A drive of one of the types DRIVE_FIXED, DRIVE_CDROM, DRIVE_REMOTE, …; a CD takes no
    /// changes.
    void addDrive(char16_t letter, DWORD type = DRIVE_FIXED);
    /// A network share, "\\server\share".
    void addShare(std::u16string_view share);

    /// Makes a directory, and the directories above it.
    void addDirectory(std::u16string_view path);
    /// Makes a file, or replaces the content of the one there, and the directories above it.
    void addFile(std::u16string_view path, std::string content = {});
    /// Makes a link of a directory that is made; the target need not be there.
    void addJunction(std::u16string_view link, std::u16string_view target);
    /// Makes a file that is a symbolic link to one.
    void addSymbolicLink(std::u16string_view link, std::u16string_view target);
    /// Makes an existing file or directory a reparse point with a REPARSE_DATA_BUFFER of any bytes.
    void setReparsePoint(std::u16string_view path, std::string buffer);
    /// Takes a file or a directory away, with everything in it, whoever uses it.
    void remove(std::u16string_view path);

    void setReadOnly(std::u16string_view path, bool readOnly = true);
    /// Read-only, hidden, system and archive; what else a thing is stays.
    void setAttributes(std::u16string_view path, DWORD attributes);
    /// Gives a file a version resource with this file version.
    void setVersion(std::u16string_view path, WORD major, WORD minor, WORD build, WORD revision);
    /// Gives a file any bytes as its version resource.
    void setVersionResource(std::u16string_view path, std::string block);

    /// Another process has the file or directory open and shares it with nobody, until `unlock` or
    /// a restart: opening, deleting and renaming it fail with 32.
    void lock(std::u16string_view path);
    /// Another process reads the file and lets others read it, but neither write nor delete it.
    void lockForReading(std::u16string_view path);
    /// Another process runs the file: it may be read and renamed, deleting it fails with 5, writing
    /// with 32.
    void lockAsProgram(std::u16string_view path);
    void unlock(std::u16string_view path);

    /// The process may not read the file or list the directory: 5.
    void denyRead(std::u16string_view path);
    /// The process may not change, delete or rename the file or directory, nor make entries in the
    /// directory: 5. What is in a directory keeps its own rights.
    void denyWrite(std::u16string_view path);
    /// Takes both back.
    void allow(std::u16string_view path);

    void setCurrentDirectory(std::u16string_view path);

    /// The next planned fault of a copy, or of a move to another drive, comes in the middle of it
    /// and leaves half of the content at the target.
    bool nextFaultHalvesCopy = false;

    // Looking at it, with the same rules for links. What isn't there gives false or nothing.

    bool exists(std::u16string_view path) const;
    bool isDirectory(std::u16string_view path) const;
    /// Of a file; none of a directory.
    std::optional<std::string> content(std::u16string_view path) const;
    /// As GetFileAttributesW tells them, INVALID_FILE_ATTRIBUTES of what isn't there.
    DWORD attributes(std::u16string_view path) const;
    /// The REPARSE_DATA_BUFFER of what is there; empty if it is no reparse point.
    std::string reparsePoint(std::u16string_view path) const;
    /// The substitute name of a junction or symbolic link, without its "\??\".
    std::optional<std::u16string> junctionTarget(std::u16string_view path) const;
    /// The access list that was set on the thing, as SDDL; empty where none was.
    std::string security(std::u16string_view path) const;
    /// The full paths of all files, without directories, in order. Links are not followed.
    std::vector<std::u16string> files() const;
    /// The same for the files at and below one path.
    std::vector<std::u16string> files(std::u16string_view below) const;
    const std::vector<DelayedMove>& delayedMoves() const { return delayedMoves_; }
    const std::u16string& currentDirectory() const { return currentDirectory_; }

    /// Adds one line for each drive, directory, file and delayed move. The library's log takes no
    /// part.
    void describe(std::vector<std::string>& lines) const;

    /// Lets go what other processes hold, and carries out the delayed moves in their order; one
    /// that can't be carried out is dropped.
    void restart();

    // For the functions that serve the process. They give a system status.

    struct Place {
        /// 2: the last name is missing, 3: something in front of it, 5: the thing is being deleted
        DWORD status = 0;
        std::shared_ptr<FileNode> parent;  ///< null for a root, and where the parent is missing
        std::shared_ptr<FileNode> node;    ///< null where it is missing
        std::u16string name;               ///< the last name as given
        bool writable = true;
    };
    /// `follow`: a link in the last place counts as what it leads to.
    Place find(const FilePath& path, bool follow) const;

    struct OpenRequest {
        DWORD access = 0;
        DWORD share = 0;
        DWORD disposition = OPEN_EXISTING;
        DWORD flags = 0;            ///< and FILE_ATTRIBUTE_READONLY of a file that is made
        std::string security = {};  ///< descriptor of a file that is made
    };
    struct Opened {
        DWORD status = 0;
        std::shared_ptr<OpenFile> file;
        bool existed = false;
    };
    Opened open(const FilePath& path, const OpenRequest& request);

    DWORD createDirectory(const FilePath& path);
    DWORD removeDirectory(const FilePath& path);
    DWORD deleteFile(const FilePath& path);
    DWORD changeAttributes(const FilePath& path, DWORD attributes);
    /// `part`: the copy ends in the middle.
    DWORD copyFile(const FilePath& from, const FilePath& to, bool failIfExists, bool part = false);
    /// `part`: a move to another drive ends in the middle of the copy, any other before it begins.
    DWORD moveFile(const FilePath& from, const FilePath& to, DWORD flags, bool part = false);
    void delayMove(DelayedMove move) { delayedMoves_.push_back(std::move(move)); }
    /// Whether the process may not write to a thing, delete or rename it, or make entries in it.
    bool isWriteDenied(const FileNode& node) const;

    /// DRIVE_NO_ROOT_DIR if there is no drive or share of that name.
    DWORD driveType(std::u16string_view volume) const;

private:
    struct Volume {
        DWORD type = DRIVE_FIXED;
        std::shared_ptr<FileNode> root;
    };
    struct ForeignUse {
        std::shared_ptr<FileNode> node;
        std::unique_ptr<FileUse> use;
    };

    Place absolutePlace(std::u16string_view path) const;
    FileNode& existing(std::u16string_view path) const;
    FileNode& makeDirectory(std::u16string_view path);
    void hold(std::u16string_view path, FileUse use);
    void carryOut(const DelayedMove& move);
    /// Whether an entry may be made at a place that is missing.
    DWORD mayAdd(const Place& place) const;
    DWORD mayDelete(const Place& place) const;
    bool isReadDenied(const FileNode& node) const { return node.readDenied && !isStarting_; }

    NameMap<Volume> volumes_;
    std::vector<ForeignUse> foreignUses_;
    std::vector<DelayedMove> delayedMoves_;
    std::u16string currentDirectory_ = u"C:\\Windows\\System32";
    bool isStarting_ = false;  ///< Windows itself, which may do everything
};

}  // namespace simulated
