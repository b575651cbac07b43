// Files and directories: junctions, temporary files, copying, moving and deleting (also of locked
// and read-only files), iteration, permissions.
//
// Functions throw SysError for a failed Windows call and std::runtime_error for what they refuse
// themselves. Each change of the disk is logged as one record at TRACE. Deleting something that
// doesn't exist succeeds.
#pragma once

#include <cstddef>
#include <vector>

#include "common/share/tstring.h"
#include "windows/common/Paths.h"

namespace FileUtils {

// ---- Queries ----

/// Returns whether the path exists, that is, whether its attributes can be read.
bool exists(const tstring& path);

/// Returns whether the path is an existing directory. A junction to a directory is one.
bool isDirectory(const tstring& path);

/// Returns whether the path exists and is not a directory.
bool isFile(const tstring& path);

/// Returns whether the path is a junction or another reparse point.
bool isLink(const tstring& path);

/// Returns whether two paths refer to the same file or directory, regardless of short names, case,
/// relative components and kind of separators; a trailing separator does matter. The part of a path
/// that doesn't exist, which may be all of it when the drive is missing, is compared as a string.
/// Throws, also for an illegal character in a path.
bool isSamePath(const tstring& a, const tstring& b);

enum class PathType { Local = 0, Network = 1, Unknown = 2, Invalid = 3 };

/// Returns where a path is located, judged by its prefix. A path of fewer than two characters is
/// Invalid; a drive that is neither a disk nor a network drive is Unknown.
PathType pathType(const tstring& path);

/// Returns the target of a junction or symbolic link. Throws, also if the path is not a link.
tstring getLinkTarget(const tstring& path);

// ---- Creating ----

/// Creates the directory and the missing directories above it. Throws.
void createDirectories(const tstring& path);

/// Makes `link` a junction to the directory `target`, creating the directory `link` and those above
/// it if they don't exist. Throws after deleting `link` itself if it created it; created
/// directories above it remain.
void createJunction(const tstring& link, const tstring& target);

/// Creates an empty file `<dir>\<prefix><number><suffix>` with an unused name and returns its path.
/// Throws, also for a character that is illegal in file names.
tstring createTempFile(const tstring& prefix, const tstring& suffix, const tstring& dir);

/// Creates an empty file at this path or, if it can't, next to it under a name derived from it.
/// Returns the path. Throws.
tstring createUniqueFile(const tstring& path);

// ---- Copying and moving ----

/// Copies a file; creates the destination's directory. Throws.
void copyFile(const tstring& src, const tstring& dst, bool failIfExists);

/// Copies a file. If the destination is in use, puts the copy next to the source and registers it
/// to be moved to the destination at the next restart. Throws.
void copyPersistentFile(const tstring& src, const tstring& dst);

/// Moves a file, also between volumes, or a directory; creates the destination's directory. Throws.
void moveFile(const tstring& src, const tstring& dst, bool failIfExists);

// ---- Deleting ----

/// Deletes a file, also a read-only one. Returns false with the last error set if it remains.
bool tryDeleteFile(const tstring& path);
/// The same, but throws SysError if the file remains.
void deleteFile(const tstring& path);

/// Deletes an empty directory, or a junction without its target. Returns false with the last error
/// set if it remains.
bool tryDeleteDirectory(const tstring& path);
/// The same, but throws SysError if the directory remains.
void deleteDirectory(const tstring& path);

/// Deletes a junction or symbolic link to a directory without touching the target. Throws, also if
/// the path is not a link.
void deleteJunction(const tstring& path);

/// Deletes the files of a directory but not its subdirectories. Returns false if a file remains or
/// the path is not a directory. Never throws.
bool deleteFiles(const tstring& path);

/// Deletes a directory with all its contents. Returns false if something remains or the path is not
/// a directory. Never throws. A junction in it counts as a directory: the contents of its target
/// are deleted.
bool deleteAll(const tstring& path);

/// A batch of deletions: files first, then trees, each in the order in which they were added. With
/// `onReboot`, files that can't be deleted now are registered for deletion at the next restart.
/// Each entry is carried out once: by `execute` or by the destructor.
class Deleter {
public:
    explicit Deleter(bool onReboot = false) : onReboot_(onReboot) {}
    ~Deleter();
    Deleter(const Deleter&) = delete;
    Deleter& operator=(const Deleter&) = delete;

    Deleter& appendFile(const tstring& path);
    /// Adds a directory with all its contents.
    Deleter& appendTree(const tstring& path);

    /// Carries out the batch. Never throws; continues after a failure.
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

// ---- Iterating ----

/// Called by an iteration for each entry, with its full path. Returning false stops the iteration.
class DirectoryCallback {
public:
    virtual ~DirectoryCallback() = default;
    virtual bool onFile(const tstring& path);
    virtual bool onFolder(const tstring& path);
};

/// Calls the callback for each entry of a directory, in the file system's order, without "." and
/// "..". Everything that is not a directory counts as a file; a junction is a directory. Throws
/// SysError.
void iterateDirectory(const tstring& path, DirectoryCallback& callback);

// ---- Permissions ----

/// Grants full access to SYSTEM and Administrators and read and execute access to everyone,
/// inherited by the contents of the directory. Throws SysError.
void setPermissions(const tstring& path);

}  // namespace FileUtils
