// Files and directories: junctions, temporary files, copying, moving and deleting with their ways
// round files that are locked or read-only, walks, permissions.
//
// An operation that throws throws SysError for a failed Windows call and std::runtime_error for
// what it refuses by itself. Each change of the disk leaves one record in the log at TRACE.
// Deleting what isn't there is a success.
#pragma once

#include <cstddef>
#include <vector>

#include "common/share/tstring.h"
#include "windows/common/Paths.h"

namespace FileUtils {

// ---- Questions ----

/// Whether the path has attributes, that is, whether something of that name is there.
bool exists(const tstring& path);

/// Whether the path is there and is a directory. A junction to a directory is one.
bool isDirectory(const tstring& path);

/// Whether the path is there and is no directory.
bool isFile(const tstring& path);

/// Whether the path is a junction or any other reparse point.
bool isLink(const tstring& path);

/// Whether two paths name the same place: short names, case, relative parts and kinds of
/// separators don't matter. What doesn't exist of a path is compared as a text. Throws, also for an
/// illegal character in a path.
bool isSamePath(const tstring& a, const tstring& b);

enum class PathType { Local = 0, Network = 1, Unknown = 2, Invalid = 3 };

/// Where a path leads, judged by its beginning. Shorter than two characters is Invalid; a drive
/// that is neither a disk nor on a network is Unknown.
PathType pathType(const tstring& path);

/// The target of a junction or symbolic link. Throws, also for what is no link.
tstring getLinkTarget(const tstring& path);

// ---- Creating ----

/// Creates the directory and those above it; what is there already stays. Throws.
void createDirectories(const tstring& path);

/// Makes `link` a junction to the directory `target`. Throws, and then no directory that it made
/// for the link remains.
void createJunction(const tstring& link, const tstring& target);

/// Creates an empty file `<dir>\<prefix><number><suffix>` under a name that is free, and gives its
/// path. Throws, also for a character that no file name may hold.
tstring createTempFile(const tstring& prefix, const tstring& suffix, const tstring& dir);

/// Creates an empty file of this path, or, where it can't, one beside it whose name is made of this
/// one's. Gives its path. Throws.
tstring createUniqueFile(const tstring& path);

// ---- Copying and moving ----

/// Copies a file; the destination's directory is created. Throws.
void copyFile(const tstring& src, const tstring& dst, bool failIfExists);

/// Copies a file. Where that can't be done, since the destination is in use, the copy is put beside
/// the source and moved over the destination at the next restart. Throws.
void copyPersistentFile(const tstring& src, const tstring& dst);

/// Moves a file, also between volumes, or a directory; the destination's directory is created.
/// Throws.
void moveFile(const tstring& src, const tstring& dst, bool failIfExists);

// ---- Deleting ----

/// Deletes a file, also a read-only one. False when it stays, with the reason as the last error.
bool tryDeleteFile(const tstring& path);
/// The same; throws SysError when the file stays.
void deleteFile(const tstring& path);

/// Deletes an empty directory, or a junction without its target. False when it stays, with the
/// reason as the last error.
bool tryDeleteDirectory(const tstring& path);
/// The same; throws SysError when the directory stays.
void deleteDirectory(const tstring& path);

/// Deletes a junction or symbolic link to a directory; the target isn't touched. Throws, also for
/// what is no link.
void deleteJunction(const tstring& path);

/// Deletes the files of a directory and leaves its subdirectories. False when one stays, or when
/// the path is no directory. Never throws.
bool deleteFiles(const tstring& path);

/// Deletes a directory with all it holds. False when something stays, or when the path is no
/// directory. Never throws. A junction below counts as a directory: what it leads to is emptied.
bool deleteAll(const tstring& path);

/// A batch of deletions: files first, then trees, each in the order of adding. With `onReboot`,
/// what can't be deleted now is registered for deletion at the next restart. An entry is carried
/// out once: by `execute`, or when the batch ends.
class Deleter {
public:
    explicit Deleter(bool onReboot = false) : onReboot_(onReboot) {}
    ~Deleter();
    Deleter(const Deleter&) = delete;
    Deleter& operator=(const Deleter&) = delete;

    Deleter& appendFile(const tstring& path);
    /// A directory with all it holds.
    Deleter& appendTree(const tstring& path);

    /// Carries out what was added. Nothing is thrown; what fails stays.
    void execute();

private:
    enum Action { kFile = 0, kFileOnReboot = 1, kTree = 4, kTreeOnReboot = 5 };

    struct Entry {
        tstring path;
        Action action;
    };

    static void execute(const Entry& entry);

    bool onReboot_;
    std::vector<Entry> entries_;
};

// ---- Walking ----

/// What a walk tells of each entry, by its full path. False stops the walk.
class DirectoryCallback {
public:
    virtual ~DirectoryCallback() = default;
    virtual bool onFile(const tstring& path);
    virtual bool onFolder(const tstring& path);
};

/// Tells the callback of each entry of a directory, in the file system's order, without "." and
/// "..". What is no directory is a file; a junction is a directory. Throws SysError.
void iterateDirectory(const tstring& path, DirectoryCallback& callback);

// ---- Permissions ----

/// Full access for SYSTEM and Administrators, reading and executing for everyone, inherited by what
/// the directory holds. Throws SysError.
void setPermissions(const tstring& path);

}  // namespace FileUtils
