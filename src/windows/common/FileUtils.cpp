#include "windows/common/FileUtils.h"

#include <winioctl.h>
#include <winver.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/share/GrowingBuffer.h"
#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/PmtError.h"
#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/DirectoryIterator.h"
#include "windows/common/ReparsePoint.h"
#include "windows/common/Security.h"
#include "windows/common/VersionResource.h"

namespace {

tstring absolutePath(const tstring& path) {
    return readGrowing<tstring>(0, [&](TCHAR* buffer, std::size_t size) {
        const DWORD length =
            GetFullPathNameW(path.c_str(), static_cast<DWORD>(size), buffer, nullptr);
        if (length == 0) {
            raise("`anonymous-namespace'::absolutePath", FailedCall(GetFullPathNameW)
                                                             << _T("GetFullPathName failed"));
        }
        return length;
    });
}

tstring convertShortPathToLong(const tstring& path) {
    return readGrowing<tstring>(0, [&](TCHAR* buffer, std::size_t size) {
        const DWORD length = GetLongPathNameW(path.c_str(), buffer, static_cast<DWORD>(size));
        if (length == 0) {
            raise("`anonymous-namespace'::convertShortPathToLong",
                  FailedCall(GetLongPathNameW) << _T("GetLongPathName failed"));
        }
        return length;
    });
}

/// Returns the fixed part of a version resource.
const VS_FIXEDFILEINFO& readResourceRecord(const VersionResource& resource,
                                           const tstring& subBlock) {
    void* record = nullptr;
    UINT size = 0;
    constexpr const char* kFunction = "`anonymous-namespace'::readResourceRecord";
    const Text call = Text() << _T("VerQueryValueW(") << resource.path() << _T(", ") << subBlock
                             << _T(")");
    if (!VerQueryValueW(resource.block().data(), subBlock.c_str(), &record, &size)) {
        raise(kFunction, FailedCall(VerQueryValueW) << call << _T(" failed"));
    }
    if (size < sizeof(VS_FIXEDFILEINFO)) {
        raise<std::runtime_error>(kFunction,
                                  Text() << call << _T(" returned unexpected buffer size."));
    }
    return *static_cast<const VS_FIXEDFILEINFO*>(record);
}

}  // namespace

namespace FileUtils {

namespace {

bool hasAttribute(const tstring& path, DWORD attribute) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & attribute) != 0;
}

/// Returns the longest existing prefix of an absolute path; empty if not even its drive exists.
tstring existingPrefix(const tstring& path) {
    tstring prefix = path;
    while (!prefix.empty() && !exists(prefix)) {
        const auto separator = prefix.find_last_of(_T("\\/"));
        prefix.resize(separator == tstring::npos ? 0 : separator);
    }
    return prefix;
}

/// Returns the same string for all paths that refer to the same file.
tstring canonicalPath(const tstring& path) {
    if (path.empty()) {
        return path;  // an empty path has no full path
    }
    const tstring absolute =
        absolutePath(tstrings::toLower(tstrings::replace(path, _T("/"), _T("\\"))));
    const tstring prefix = existingPrefix(absolute);
    const tstring longPrefix = prefix.empty() ? prefix : convertShortPathToLong(prefix);
    return tstrings::toLower(longPrefix + absolute.substr(prefix.size()));
}

void createDir(const tstring& path) {
    if (CreateDirectoryW(path.c_str(), nullptr)) {
        LOG_TRACE("FileUtils::`anonymous-namespace'::createDir",
                  Text() << _T("Created [") << path << _T("] directory"));
        return;
    }
    const DWORD status = GetLastError();
    if (!isDirectory(path)) {
        raise("FileUtils::`anonymous-namespace'::createDir", FailedCall(CreateDirectoryW, status)
                                                                 << _T("CreateDirectory(") << path
                                                                 << _T(") failed"));
    }
}

/// Copies a string and its NUL to an offset of the buffer; returns the offset after them.
std::size_t append(ReparseBuffer& buffer, std::size_t offset, const tstring& text) {
    const std::size_t capacity = (ReparseBuffer::kSize - offset) / sizeof(TCHAR);
    if (text.size() + 1 > capacity) {
        raise<std::runtime_error>("FileUtils::`anonymous-namespace'::append",
                                  Text() << _T("wcscpy_s(ptr, ") << capacity << _T(", ") << text
                                         << _T(") failed. Return value: ") << ERANGE);
    }
    const std::size_t size = (text.size() + 1) * sizeof(TCHAR);
    std::memcpy(buffer.bytes + offset, text.c_str(), size);
    return offset + size;
}

/// Returns the buffer that makes a directory a junction to `target`.
ReparseBuffer mountPointBuffer(const tstring& target) {
    ReparseBuffer buffer;
    const tstring substitute = _T("\\??\\") + target;
    const std::size_t substituteLength = substitute.size() * sizeof(TCHAR);
    const std::size_t printLength = target.size() * sizeof(TCHAR);
    const std::size_t printName =
        append(buffer, ReparseBuffer::kPathBufferOfMountPoint, substitute);
    append(buffer, printName, target);
    buffer.setTag(IO_REPARSE_TAG_MOUNT_POINT);
    buffer.setNumber(ReparseBuffer::kDataLength, substituteLength + printLength + 12);
    buffer.setNumber(ReparseBuffer::kSubstituteNameOffset, 0);
    buffer.setNumber(ReparseBuffer::kSubstituteNameLength, substituteLength);
    buffer.setNumber(ReparseBuffer::kPrintNameOffset, substituteLength + sizeof(TCHAR));
    buffer.setNumber(ReparseBuffer::kPrintNameLength, printLength);
    return buffer;
}

/// Makes an empty directory a junction.
void setMountPoint(const tstring& link, ReparseBuffer& buffer) {
    constexpr const char* kFunction = "FileUtils::createJunction";
    const WinHandle directory(CreateFileW(link.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                          FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT,
                                          nullptr));
    if (!directory) {
        raise(kFunction, FailedCall(CreateFileW) << link << _T(": cannot open"));
    }
    const DWORD size =
        buffer.number(ReparseBuffer::kDataLength) + static_cast<DWORD>(ReparseBuffer::kHeaderSize);
    DWORD returned = 0;
    if (!DeviceIoControl(directory.get(), FSCTL_SET_REPARSE_POINT, buffer.bytes, size, nullptr, 0,
                         &returned, nullptr)) {
        raise(kFunction, FailedCall(DeviceIoControl) << link << _T(": cannot set reparse point"));
    }
}

/// Returns false if the file can't be created, which includes an existing one.
bool createNewFile(const tstring& path) {
    WinHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                               FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return false;
    }
    file.reset();
    LOG_TRACE("FileUtils::`anonymous-namespace'::createNewFile",
              Text() << _T("Created [") << path << _T("] file"));
    return true;
}

/// Moves `src`, or deletes it when `dst` is empty.
void moveFileImpl(const tstring& src, const tstring& dst, DWORD flags) {
    const bool isFolder = isDirectory(src);
    if (!MoveFileExW(src.c_str(), dst.empty() ? nullptr : dst.c_str(), flags)) {
        raise("FileUtils::`anonymous-namespace'::moveFileImpl",
              FailedCall(MoveFileExW) << _T("MoveFileEx(") << src << _T(", ") << dst << _T(", ")
                                      << flags << _T(") failed"));
    }
    const bool delayed = (flags & MOVEFILE_DELAY_UNTIL_REBOOT) != 0;
    Text message;
    if (dst.empty()) {
        message << (delayed ? _T("Delete") : _T("Deleted"));
    } else {
        message << (delayed ? _T("Move") : _T("Moved"));
    }
    message << _T(" '") << src << _T("' ") << (isFolder ? _T("folder") : _T("file"));
    if (!dst.empty()) {
        message << _T(" to '") << dst << _T("'");
    }
    if (delayed) {
        message << _T(" on reboot");
    }
    LOG_TRACE("FileUtils::`anonymous-namespace'::moveFileImpl", message);
}

/// Whether a deletion failed because the file didn't exist.
bool isAlreadyGone(DWORD status) {
    return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND;
}

/// Returns false with the last error set.
bool deleteFileImpl(const tstring& path) {
    if (DeleteFileW(path.c_str())) {
        LOG_TRACE("FileUtils::`anonymous-namespace'::deleteFileImpl",
                  Text() << _T("Deleted [") << path << _T("] file"));
        return true;
    }
    return isAlreadyGone(GetLastError());
}

/// Logs without throwing; the record may be lost.
void warnOfReadOnlyFile(const tstring& path, DWORD status) {
    constexpr const char* kFunction = "FileUtils::tryDeleteFile";
    runLogged(kFunction, [&] {
        const SysError error(Text() << _T("Failed to discard R/O attribute from [") << path
                                    << _T("] file. File will not be deleted"),
                             SetFileAttributesW, status);
        LOG_WARNING(kFunction, Text() << error.what());
    });
}

/// Deletes the files of a directory and continues after one that can't be deleted.
class DeleteFilesCallback : public DirectoryCallback {
public:
    bool failed() const { return failed_; }

    bool onFile(const tstring& path) override {
        failed_ |= !tryDeleteFile(path);
        return true;
    }

protected:
    bool failed_ = false;
};

/// Deletes the subdirectories as well. A junction is treated like any other directory: the files in
/// its target are deleted first, then the junction.
class DeleteAllCallback : public DeleteFilesCallback {
public:
    bool onFolder(const tstring& path) override {
        failed_ |= !deleteAll(path);
        return true;
    }
};

/// Deletes the files of a directory, or the directory with all its contents.
class BatchDeleter {
public:
    BatchDeleter(const tstring& path, bool recursive) : path_(path), recursive_(recursive) {}

    bool execute() const noexcept {
        return runLogged("FileUtils::`anonymous-namespace'::BatchDeleter::execute", false, [this] {
            if (!exists(path_)) {
                return true;
            }
            if (!isDirectory(path_)) {
                return false;
            }
            return recursive_ ? walk(DeleteAllCallback()) && tryDeleteDirectory(path_)
                              : walk(DeleteFilesCallback());
        });
    }

private:
    bool walk(DeleteFilesCallback&& callback) const {
        iterateDirectory(path_, callback);
        return !callback.failed();
    }

    const tstring path_;
    const bool recursive_;
};

void deleteOnReboot(const tstring& path) {
    runLogged("FileUtils::`anonymous-namespace'::deleteOnReboot",
              [&] { moveFileImpl(path, tstring(), MOVEFILE_DELAY_UNTIL_REBOOT); });
}

/// Registers a directory for deletion after its contents: at the restart only empty directories can
/// be deleted.
void deleteTreeOnReboot(const tstring& path) {
    std::vector<tstring> items = {path};
    DirectoryIterator(path).skipUnreadable("FileUtils::Deleter::execute").findItems(items);
    std::for_each(items.rbegin(), items.rend(), deleteOnReboot);
}

}  // namespace

// ---- Queries ----

bool exists(const tstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool isDirectory(const tstring& path) {
    return hasAttribute(path, FILE_ATTRIBUTE_DIRECTORY);
}

bool isFile(const tstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool isLink(const tstring& path) {
    return hasAttribute(path, FILE_ATTRIBUTE_REPARSE_POINT);
}

bool isSamePath(const tstring& a, const tstring& b) {
    const auto check = [](const tstring& path, const TCHAR* which) {
        if (hasIllegalPathCharacter(path)) {
            raise<std::runtime_error>(
                "FileUtils::isSamePath",
                Text() << _T("isSamePath: Illegal characters in ") << which << _T(" arg ") << path);
        }
    };
    check(a, _T("first"));
    check(b, _T("second"));
    return canonicalPath(a) == canonicalPath(b);
}

PathType pathType(const tstring& path) {
    if (path.size() > 1 && path.front() == _T('\\')) {
        return PathType::Network;
    }
    if (path.size() < 2) {
        return PathType::Invalid;
    }
    switch (GetDriveTypeW((path.substr(0, 2) + _T("\\")).c_str())) {
        case DRIVE_REMOVABLE:
        case DRIVE_FIXED:
        case DRIVE_RAMDISK:
            return PathType::Local;
        case DRIVE_REMOTE:
            return PathType::Network;
        default:
            return PathType::Unknown;
    }
}

tstring getLinkTarget(const tstring& path) {
    constexpr const char* kFunction = "FileUtils::getLinkTarget";
    if (!isLink(path)) {
        raise<std::runtime_error>(kFunction, Text() << path << _T(": not a link"));
    }
    const DWORD flags =
        FILE_FLAG_OPEN_REPARSE_POINT | (isDirectory(path) ? FILE_FLAG_BACKUP_SEMANTICS : DWORD{0});
    const WinHandle link(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                     nullptr, OPEN_EXISTING, flags, nullptr));
    if (!link) {
        raise(kFunction, FailedCall(CreateFileW) << path << _T(": cannot open"));
    }
    ReparseBuffer buffer;
    DWORD size = 0;
    if (!DeviceIoControl(link.get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, buffer.bytes,
                         ReparseBuffer::kSize, &size, nullptr)) {
        raise(kFunction, FailedCall(DeviceIoControl) << path << _T(": cannot get reparse point"));
    }
    if (buffer.pathBuffer() == 0) {
        raise<std::runtime_error>(kFunction,
                                  Text() << path << _T(": unknown reparse tag ") << buffer.tag());
    }
    const std::optional<tstring> target = buffer.target();
    if (!target) {
        raise<std::runtime_error>(kFunction, Text() << path << _T(": damaged reparse point"));
    }
    LOG_TRACE(kFunction,
              Text() << _T("Target for [") << path << _T("] link is [") << *target << _T("]"));
    return *target;
}

// ---- Creating ----

void createDirectories(const tstring& path) {
    const tstring whole = removeTrailingSlash(path) + _T("\\");
    for (auto separator = whole.find_first_of(_T("\\/")); separator != tstring::npos;
         separator = whole.find_first_of(_T("\\/"), separator + 1)) {
        createDir(whole.substr(0, separator + 1));
    }
}

void createJunction(const tstring& link, const tstring& target) {
    ReparseBuffer buffer = mountPointBuffer(target);
    const bool isNew = !exists(link);
    createDirectories(link);
    try {
        setMountPoint(link, buffer);
    } catch (...) {
        // A plain directory left in its place would never be replaced by a link again.
        if (isNew) {
            runLogged("FileUtils::createJunction", [&] { tryDeleteDirectory(link); });
        }
        throw;
    }
    LOG_TRACE("FileUtils::createJunction", Text()
                                               << _T("Created [") << link << _T("] junction for [")
                                               << target << _T("] target"));
}

tstring createTempFile(const tstring& prefix, const tstring& suffix, const tstring& dir) {
    const auto check = [](const TCHAR* which, const tstring& part) {
        if (hasIllegalFileNameCharacter(part)) {
            raise<std::runtime_error>(
                "FileUtils::createTempFile",
                Text() << _T("Illegal characters in ") << which << _T("=") << part);
        }
    };
    check(_T("prefix"), prefix);
    check(_T("suffix"), suffix);
    const DWORD ticks = GetTickCount();
    for (DWORD i = 0; i < 100; ++i) {
        const DWORD number = ticks + i;
        const tstring path = combinePath(dir, Text() << prefix << number << suffix);
        if (createNewFile(path)) {
            return path;
        }
    }
    raise<std::runtime_error>("FileUtils::createTempFile", Text() << _T("createTempFile(") << prefix
                                                                  << _T(", ") << suffix << _T(", ")
                                                                  << dir << _T(") failed"));
}

tstring createUniqueFile(const tstring& path) {
    if (createNewFile(path)) {
        return path;
    }
    return createTempFile(replaceSuffix(basename(path), tstring()), suffix(path), dirname(path));
}

// ---- Copying and moving ----

void copyFile(const tstring& src, const tstring& dst, bool failIfExists) {
    createDirectories(dirname(dst));
    if (!CopyFileW(src.c_str(), dst.c_str(), failIfExists ? TRUE : FALSE)) {
        raise("FileUtils::copyFile", FailedCall(CopyFileW)
                                         << _T("CopyFile(") << src << _T(", ") << dst << _T(", ")
                                         << failIfExists << _T(") failed"));
    }
    LOG_TRACE("FileUtils::copyFile",
              Text() << _T("Copied [") << src << _T("] file to [") << dst << _T("]"));
}

void copyPersistentFile(const tstring& src, const tstring& dst) {
    constexpr const char* kFunction = "FileUtils::copyPersistentFile";
    if (!exists(src)) {
        raise<std::runtime_error>(kFunction, Text() << _T("FileUtils::copyPersistentFile(") << src
                                                    << _T(", ") << dst
                                                    << _T(", 0) failed. Source file not found."));
    }
    const bool isCopied = runLogged(kFunction, false, [&] {
        copyFile(src, dst, false);
        return true;
    });
    if (isCopied) {
        return;
    }
    const tstring tmp = createUniqueFile(src);
    copyFile(src, tmp, false);
    moveFileImpl(tmp, dst, MOVEFILE_REPLACE_EXISTING | MOVEFILE_DELAY_UNTIL_REBOOT);
}

void moveFile(const tstring& src, const tstring& dst, bool failIfExists) {
    createDirectories(dirname(dst));
    moveFileImpl(src, dst,
                 MOVEFILE_COPY_ALLOWED | (failIfExists ? 0u : DWORD{MOVEFILE_REPLACE_EXISTING}));
}

// ---- Deleting ----

bool tryDeleteFile(const tstring& path) {
    if (deleteFileImpl(path)) {
        return true;
    }
    if (GetLastError() != ERROR_ACCESS_DENIED) {
        return false;
    }
    const DWORD attributes = GetFileAttributesW(path.c_str());
    SetLastError(ERROR_ACCESS_DENIED);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return false;
    }
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        if (SetFileAttributesW(path.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY})) {
            LOG_TRACE("FileUtils::tryDeleteFile",
                      Text() << _T("Discarded R/O attribute from [") << path << _T("] file"));
            if (deleteFileImpl(path)) {
                return true;
            }
        } else {
            warnOfReadOnlyFile(path, GetLastError());
            SetLastError(ERROR_ACCESS_DENIED);
        }
    }
    return isAlreadyGone(GetLastError());
}

void deleteFile(const tstring& path) {
    if (!tryDeleteFile(path)) {
        raise("FileUtils::deleteFile", FailedCall(DeleteFileW)
                                           << _T("DeleteFile(") << path << _T(") failed"));
    }
}

bool tryDeleteDirectory(const tstring& path) {
    if (RemoveDirectoryW(path.c_str())) {
        LOG_TRACE("FileUtils::tryDeleteDirectory",
                  Text() << _T("Deleted [") << path << _T("] directory"));
        return true;
    }
    return isAlreadyGone(GetLastError());
}

void deleteDirectory(const tstring& path) {
    if (!tryDeleteDirectory(path)) {
        raise("FileUtils::deleteDirectory",
              FailedCall(RemoveDirectoryW) << _T("RemoveDirectory(") << path << _T(") failed"));
    }
}

void deleteJunction(const tstring& path) {
    if (!isLink(path)) {
        raise<std::runtime_error>("FileUtils::deleteJunction",
                                  Text() << path << _T(": is not a junction"));
    }
    deleteDirectory(path);
}

bool deleteFiles(const tstring& path) {
    return BatchDeleter(path, false).execute();
}

bool deleteAll(const tstring& path) {
    return BatchDeleter(path, true).execute();
}

Deleter::~Deleter() {
    try {
        execute();
    } catch (...) {
        // Out of memory: nothing more can be done, not even logged.
    }
}

Deleter& Deleter::appendFile(const tstring& path) {
    entries_.push_back({path, onReboot_ ? kFileOnReboot : kFile});
    return *this;
}

Deleter& Deleter::appendTree(const tstring& path) {
    entries_.push_back({path, onReboot_ ? kTreeOnReboot : kTree});
    return *this;
}

void Deleter::execute() {
    std::vector<Entry> entries;
    entries.swap(entries_);
    // Files are deleted before trees; within each kind in the order in which they were added.
    for (const auto action : {kFile, kFileOnReboot, kTree, kTreeOnReboot}) {
        for (const Entry& entry : entries) {
            if (entry.action == action) {
                execute(entry);
            }
        }
    }
}

void Deleter::execute(const Entry& entry) {
    const bool isTree = entry.action == kTree || entry.action == kTreeOnReboot;
    if (isTree) {
        deleteAll(entry.path);
    } else {
        tryDeleteFile(entry.path);
    }
    if (entry.action == kFile || entry.action == kTree || !exists(entry.path)) {
        return;
    }
    if (!isTree) {
        deleteOnReboot(entry.path);
    } else if (isDirectory(entry.path)) {
        deleteTreeOnReboot(entry.path);
    }
}

// ---- Iterating ----

bool DirectoryCallback::onFile(const tstring&) {
    return true;
}

bool DirectoryCallback::onFolder(const tstring&) {
    return true;
}

void iterateDirectory(const tstring& path, DirectoryCallback& callback) {
    constexpr const char* kFunction = "FileUtils::iterateDirectory";
    WIN32_FIND_DATAW found;
    const FindHandle find(FindFirstFileW(combinePath(path, _T("*")).c_str(), &found));
    if (!find) {
        FailedCall failure(FindFirstFileW);
        if (failure.status() == ERROR_FILE_NOT_FOUND) {
            return;
        }
        raise(kFunction, failure << _T("FindFirstFile(") << path << _T(") failed"));
    }
    do {
        const tstring name = found.cFileName;
        const tstring entry = combinePath(path, name);
        bool goOn = true;
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            goOn = callback.onFile(entry);
        } else if (name != _T(".") && name != _T("..")) {
            goOn = callback.onFolder(entry);
        }
        if (!goOn) {
            return;
        }
    } while (FindNextFileW(find.get(), &found));
    FailedCall failure(FindNextFileW);
    if (failure.status() != ERROR_NO_MORE_FILES) {
        raise(kFunction, failure << _T("FindNextFile(") << path << _T(") failed"));
    }
}

// ---- Permissions ----

void setPermissions(const tstring& path) {
    const security::SecurityDescriptor descriptor(
        _T("D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;WD)"));
    if (!SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.get())) {
        raise("FileUtils::setPermissions", FailedCall(SetFileSecurityW)
                                               << _T("setPermissions(") << path << _T(") failed"));
    }
}

// ---- Version resources ----

std::array<std::uint16_t, 4> getFileVersion(const tstring& path) {
    const VersionResource resource(path);
    const VS_FIXEDFILEINFO& facts = readResourceRecord(resource, _T("\\"));
    return {HIWORD(facts.dwFileVersionMS), LOWORD(facts.dwFileVersionMS),
            HIWORD(facts.dwFileVersionLS), LOWORD(facts.dwFileVersionLS)};
}

}  // namespace FileUtils

VersionResource::VersionResource(const tstring& path) : path_(path) {
    constexpr const char* kFunction = "VersionResource::VersionResource";
    DWORD zeroed = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &zeroed);
    if (size == 0) {
        raise(kFunction, FailedCall(GetFileVersionInfoSizeW)
                             << _T("GetFileVersionInfoSize(") << path << _T(") failed"));
    }
    block_.resize(size);
    if (!GetFileVersionInfoW(path.c_str(), 0, size, block_.data())) {
        raise(kFunction, FailedCall(GetFileVersionInfoW)
                             << _T("GetFileVersionInfo(") << path << _T(") failed"));
    }
}
