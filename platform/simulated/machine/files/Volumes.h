// The drives and shares of the machine, as a test arranges and inspects them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <windef.h>
#include <fileapi.h>

#include "simulated/machine/files/FileSystem.h"

namespace simulated {

class Volumes {
public:
    /// A fixed drive C: with Windows' own folders. An ordinary user may not write to Windows'
    /// folder but for its Temp, nor to those of programs.
    explicit Volumes(FileSystem& fileSystem);
    Volumes(const Volumes&) = delete;
    Volumes& operator=(const Volumes&) = delete;

    // Arranging. Paths are absolute. Links before the last name are followed, a link in the last
    // place is used itself. A path that doesn't fit, of a missing drive or of a missing file that
    // has to exist, throws std::invalid_argument.

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
    /// Makes an existing file or directory a reparse point with a REPARSE_DATA_BUFFER of any bytes.
    void setReparsePoint(std::u16string_view path, std::string buffer);
    /// Removes a file or a directory with everything in it, also if it is in use.
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

    /// Lets nobody but administrators write to a directory and what is in it, as Windows does for
    /// its own directories.
    void restrictToAdministrators(std::u16string_view path);
    /// The process may not read the file or list the directory: 5.
    void denyRead(std::u16string_view path);
    /// The process may not change, delete or rename the file or directory, nor make entries in the
    /// directory: 5. The access rights of entries inside the directory do not change.
    void denyWrite(std::u16string_view path);

    void setCurrentDirectory(std::u16string_view path) { fileSystem_.setCurrentDirectory(path); }

    /// The next planned fault of a copy, or of a move to another drive, comes in the middle of it
    /// and leaves half of the content at the target.
    bool nextFaultHalvesCopy = false;

    // Looking at it, with the same rules for links. What isn't there gives false or nothing.

    bool exists(std::u16string_view path) const;
    bool isDirectory(std::u16string_view path) const;
    /// Of a file; none of a directory.
    std::optional<std::string> content(std::u16string_view path) const;
    /// Returns what GetFileAttributesW returns, INVALID_FILE_ATTRIBUTES for a missing file.
    DWORD attributes(std::u16string_view path) const;
    /// The substitute name of a junction or symbolic link, without its "\??\".
    std::optional<std::u16string> junctionTarget(std::u16string_view path) const;
    /// The access list that was set on the thing, as SDDL; empty where none was.
    std::string security(std::u16string_view path) const;
    /// The full paths of all files, without directories, in order. Links are not followed.
    std::vector<std::u16string> files() const;
    /// The same for the files at and below one path.
    std::vector<std::u16string> files(std::u16string_view below) const;
    const std::vector<DelayedMove>& delayedMoves() const { return fileSystem_.delayedMoves(); }

    /// Adds one line for each drive, directory, file and delayed move. The library's log takes no
    /// part.
    void describe(std::vector<std::string>& lines) const;

    /// Closes what other processes hold open and carries out the delayed moves.
    void restart();

private:
    struct ForeignUse {
        std::shared_ptr<FileNode> node;
        std::unique_ptr<FileUse> use;
    };

    std::shared_ptr<FileNode> find(std::u16string_view path) const;
    FileNode& existing(std::u16string_view path) const;
    FileNode& makeDirectory(std::u16string_view path);
    void hold(std::u16string_view path, FileUse use);

    FileSystem& fileSystem_;
    std::vector<ForeignUse> foreignUses_;
};

}  // namespace simulated
