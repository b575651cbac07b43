// Files of Windows' C run-time: descriptors, and the host's FILE over them.
#include "simulated/machine/Crt.h"

#include <windows.h>
#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "simulated/machine/Machine.h"
#include "simulated/machine/ProcessPath.h"

namespace simulated {

int CrtFiles::add(CrtFile file) {
    const int number = next_++;
    open_.emplace(number, file);
    return number;
}

CrtFile* CrtFiles::find(int file) {
    const auto found = open_.find(file);
    return found == open_.end() ? nullptr : &found->second;
}

bool CrtFiles::close(int file) {
    const auto found = open_.find(file);
    if (found == open_.end()) {
        return false;
    }
    Machine::current().handles.close(found->second.handle);
    open_.erase(found);
    return true;
}

int errnoOf(DWORD status) {
    switch (status) {
        case ERROR_SUCCESS:
            return 0;
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_DRIVE:
        case ERROR_NO_MORE_FILES:
        case ERROR_BAD_NETPATH:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_FILENAME_EXCED_RANGE:
            return ENOENT;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_WRITE_PROTECT:
        case ERROR_WRITE_FAULT:
        case ERROR_READ_FAULT:
            return EACCES;
        case ERROR_INVALID_HANDLE:
            return EBADF;
        case ERROR_NOT_ENOUGH_MEMORY:
            return ENOMEM;
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            return EEXIST;
        case ERROR_DISK_FULL:
            return ENOSPC;
        case ERROR_DIR_NOT_EMPTY:
            return ENOTEMPTY;
        default:
            return EINVAL;
    }
}

namespace {

constexpr char kTextEnd = '\x1a';

int failWithErrno(DWORD status) {
    errno = errnoOf(status);
    return -1;
}

CrtFiles& crt() {
    return Machine::current().crt;
}

std::shared_ptr<OpenFile> openFile(const CrtFile* file) {
    return file == nullptr ? nullptr : Machine::current().handles.find<OpenFile>(file->handle);
}

DWORD shareOf(int share) {
    switch (share) {
        case _SH_DENYRW:
            return 0;
        case _SH_DENYWR:
            return FILE_SHARE_READ;
        case _SH_DENYRD:
            return FILE_SHARE_WRITE;
        default:
            return FILE_SHARE_READ | FILE_SHARE_WRITE;
    }
}

DWORD dispositionOf(int flags) {
    const bool truncates = (flags & _O_TRUNC) != 0;
    if ((flags & _O_CREAT) == 0) {
        return truncates ? TRUNCATE_EXISTING : OPEN_EXISTING;
    }
    if ((flags & _O_EXCL) != 0) {
        return CREATE_NEW;
    }
    return truncates ? CREATE_ALWAYS : OPEN_ALWAYS;
}

/// Opens a file and gives its descriptor a number; the status if that fails.
DWORD openNumbered(const char16_t* path, int flags, int share, int permissions, int& number) {
    constexpr int kAccess = _O_WRONLY | _O_RDWR;
    Volumes::OpenRequest request;
    request.access = (flags & kAccess) == _O_RDWR     ? GENERIC_READ | GENERIC_WRITE
                     : (flags & kAccess) == _O_WRONLY ? GENERIC_WRITE
                                                      : GENERIC_READ;
    request.share = shareOf(share);
    request.disposition = dispositionOf(flags);
    if ((flags & _O_CREAT) != 0 && (permissions & _S_IWRITE) == 0) {
        request.flags = FILE_ATTRIBUTE_READONLY;
    }
    Machine& machine = Machine::current();
    const Volumes::Opened opened = machine.volumes.open(processPath(path), request);
    if (opened.status == ERROR_SUCCESS) {
        number = machine.crt.add(
            {machine.handles.add(opened.file), (flags & _O_BINARY) == 0, (flags & _O_APPEND) != 0});
    }
    return opened.status;
}

/// Reads; in text mode CR LF becomes a line feed, and Ctrl-Z ends the file.
DWORD readNumbered(int number, void* buffer, std::size_t size, std::size_t& done) {
    CrtFile* const file = crt().find(number);
    const std::shared_ptr<OpenFile> open = openFile(file);
    done = 0;
    if (open == nullptr || !open->mayRead()) {
        return ERROR_INVALID_HANDLE;
    }
    if (!file->text) {
        done = open->read(buffer, size);
        return ERROR_SUCCESS;
    }
    char* const out = static_cast<char*>(buffer);
    char c = 0;
    while (done < size && !file->atEnd && open->read(&c, 1) == 1) {
        char next = 0;
        if (c == kTextEnd) {
            file->atEnd = true;
            break;
        }
        if (c == '\r' && open->read(&next, 1) == 1) {
            if (next == '\n') {
                c = '\n';
            } else {
                open->seek(open->position() - 1);
            }
        }
        out[done++] = c;
    }
    return ERROR_SUCCESS;
}

/// Writes; in text mode a line feed becomes CR LF.
DWORD writeNumbered(int number, const void* data, std::size_t size) {
    const CrtFile* const file = crt().find(number);
    const std::shared_ptr<OpenFile> open = openFile(file);
    if (open == nullptr || !open->mayWrite()) {
        return ERROR_INVALID_HANDLE;
    }
    if (file->appends) {
        open->seek(open->node().content.size());
    }
    if (!file->text) {
        open->write(data, size);
        return ERROR_SUCCESS;
    }
    std::string text;
    for (const char c : std::string_view(static_cast<const char*>(data), size)) {
        text += c == '\n' ? "\r\n" : std::string_view(&c, 1);
    }
    open->write(text.data(), text.size());
    return ERROR_SUCCESS;
}

DWORD seekNumbered(int number, long long distance, int origin, long long& position) {
    const std::shared_ptr<OpenFile> open = openFile(crt().find(number));
    if (open == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    const auto size = static_cast<long long>(open->node().content.size());
    const long long start = origin == SEEK_SET   ? 0
                            : origin == SEEK_CUR ? static_cast<long long>(open->position())
                                                 : size;
    if (__builtin_add_overflow(start, distance, &position) || position < 0) {
        return ERROR_INVALID_PARAMETER;
    }
    open->seek(static_cast<std::uint64_t>(position));
    return ERROR_SUCCESS;
}

_stat64 statOf(const FileNode& node) {
    _stat64 facts = {};
    const bool isWritable = (node.attributes & FILE_ATTRIBUTE_READONLY) == 0;
    facts.st_mode =
        static_cast<unsigned short>((node.isDirectory ? _S_IFDIR | _S_IEXEC : _S_IFREG) | _S_IREAD |
                                    (isWritable ? _S_IWRITE : 0));
    facts.st_size = static_cast<long long>(node.content.size());
    return facts;
}

// The host's FILE calls these with the number of a descriptor as its cookie.

struct Cookie {
    int number;
};

ssize_t readCookie(void* cookie, char* buffer, std::size_t size) {
    Call call("fread");
    std::size_t done = 0;
    const DWORD status =
        call.fails() ? call.status(ERROR_READ_FAULT)
                     : readNumbered(static_cast<Cookie*>(cookie)->number, buffer, size, done);
    return status == ERROR_SUCCESS ? static_cast<ssize_t>(done) : failWithErrno(status);
}

ssize_t writeCookie(void* cookie, const char* data, std::size_t size) {
    Call call("fwrite");
    const DWORD status = call.fails()
                             ? call.status(ERROR_DISK_FULL)
                             : writeNumbered(static_cast<Cookie*>(cookie)->number, data, size);
    if (status == ERROR_SUCCESS) {
        return static_cast<ssize_t>(size);
    }
    failWithErrno(status);
    return 0;  // how a cookie tells of a failed write
}

int seekCookie(void* cookie, off64_t* offset, int origin) {
    Call call("fseek");
    long long position = 0;
    const DWORD status = call.fails() ? call.status(ERROR_INVALID_HANDLE)
                                      : seekNumbered(static_cast<Cookie*>(cookie)->number, *offset,
                                                     origin, position);
    if (status != ERROR_SUCCESS) {
        return failWithErrno(status);
    }
    *offset = position;
    return 0;
}

int closeCookie(void* cookie) {
    Call call("fclose");
    const std::unique_ptr<Cookie> owned(static_cast<Cookie*>(cookie));
    if (call.fails()) {
        return failWithErrno(call.status(ERROR_INVALID_HANDLE));
    }
    return crt().close(owned->number) ? 0 : failWithErrno(ERROR_INVALID_HANDLE);
}

/// A mode of _wfopen as flags of _wsopen_s; -1 for none.
int openFlags(std::u16string_view mode) {
    const bool updates = mode.find(u'+') != std::u16string_view::npos;
    const int access = updates ? _O_RDWR : mode.starts_with(u'r') ? _O_RDONLY : _O_WRONLY;
    const int binary = mode.find(u'b') != std::u16string_view::npos ? _O_BINARY : 0;
    switch (mode.empty() ? u'\0' : mode[0]) {
        case u'r':
            return access | binary;
        case u'w':
            return access | binary | _O_CREAT | _O_TRUNC;
        case u'a':
            return access | binary | _O_CREAT | _O_APPEND;
        default:
            return -1;
    }
}

/// The stream that a call opens, or null with `errno` set.
FILE* openStream(const Call& call, const char16_t* path, const char16_t* mode) {
    const int flags = openFlags(argument(mode));
    int number = -1;
    const DWORD status = call.fails() ? call.status(ERROR_ACCESS_DENIED)
                         : flags == -1
                             ? DWORD{ERROR_INVALID_PARAMETER}
                             : openNumbered(path, flags, _SH_DENYNO, _S_IREAD | _S_IWRITE, number);
    if (status != ERROR_SUCCESS) {
        failWithErrno(status);
        return nullptr;
    }
    std::string hostMode;
    for (const char16_t c : argument(mode)) {
        hostMode += static_cast<char>(c);
    }
    auto cookie = std::make_unique<Cookie>(Cookie{number});
    FILE* const stream = fopencookie(cookie.get(), hostMode.c_str(),
                                     {readCookie, writeCookie, seekCookie, closeCookie});
    if (stream == nullptr) {
        crt().close(number);
        return nullptr;
    }
    cookie.release();  // closeCookie frees it
    return stream;
}

constexpr const char* kErrorTexts[] = {
    "No error",
    "Operation not permitted",
    "No such file or directory",
    "No such process",
    "Interrupted function call",
    "Input/output error",
    "No such device or address",
    "Arg list too long",
    "Exec format error",
    "Bad file descriptor",
    "No child processes",
    "Resource temporarily unavailable",
    "Not enough space",
    "Permission denied",
    "Bad address",
    "Unknown error",
    "Resource device",
    "File exists",
    "Improper link",
    "No such device",
    "Not a directory",
    "Is a directory",
    "Invalid argument",
    "Too many open files in system",
    "Too many open files",
    "Inappropriate I/O control operation",
    "Unknown error",
    "File too large",
    "No space left on device",
    "Invalid seek",
    "Read-only file system",
    "Too many links",
    "Broken pipe",
    "Domain error",
    "Result too large",
};

}  // namespace

}  // namespace simulated

using namespace simulated;

extern "C" {

errno_t _wsopen_s(int* file, const char16_t* path, int flags, int share, int permissions) {
    Call call("_wsopen_s");
    *file = -1;
    const DWORD status = call.fails() ? call.status(ERROR_ACCESS_DENIED)
                                      : openNumbered(path, flags, share, permissions, *file);
    return status == ERROR_SUCCESS ? 0 : (failWithErrno(status), errno);
}

int _open_osfhandle(std::intptr_t handle, int flags) {
    Call call("_open_osfhandle");
    if (call.fails()) {
        return failWithErrno(call.status(ERROR_INVALID_HANDLE));
    }
    Machine& machine = Machine::current();
    const HANDLE file = reinterpret_cast<HANDLE>(handle);
    if (machine.handles.find<OpenFile>(file) == nullptr) {
        return failWithErrno(ERROR_INVALID_HANDLE);
    }
    return machine.crt.add({file, (flags & _O_TEXT) != 0, (flags & _O_APPEND) != 0});
}

int _read(int file, void* buffer, unsigned int size) {
    Call call("_read");
    std::size_t done = 0;
    const DWORD status =
        call.fails() ? call.status(ERROR_READ_FAULT) : readNumbered(file, buffer, size, done);
    return status == ERROR_SUCCESS ? static_cast<int>(done) : failWithErrno(status);
}

int _write(int file, const void* data, unsigned int size) {
    Call call("_write");
    const DWORD status =
        call.fails() ? call.status(ERROR_DISK_FULL) : writeNumbered(file, data, size);
    return status == ERROR_SUCCESS ? static_cast<int>(size) : failWithErrno(status);
}

errno_t _chsize_s(int file, long long size) {
    Call call("_chsize_s");
    const std::shared_ptr<OpenFile> open = openFile(crt().find(file));
    DWORD status = ERROR_SUCCESS;
    if (call.fails()) {
        status = call.status(ERROR_DISK_FULL);
    } else if (open == nullptr) {
        status = ERROR_INVALID_HANDLE;
    } else if (size < 0) {
        status = ERROR_INVALID_PARAMETER;
    } else if (!open->mayWrite()) {
        status = ERROR_ACCESS_DENIED;
    }
    if (status != ERROR_SUCCESS) {
        failWithErrno(status);
        return errno;
    }
    open->resize(static_cast<std::uint64_t>(size));
    return 0;
}

int _close(int file) {
    Call call("_close");
    if (call.fails()) {
        return failWithErrno(call.status(ERROR_INVALID_HANDLE));
    }
    return crt().close(file) ? 0 : failWithErrno(ERROR_INVALID_HANDLE);
}

int _fstat64(int file, _stat64* facts) {
    Call call("_fstat64");
    const std::shared_ptr<OpenFile> open = openFile(crt().find(file));
    if (call.fails() || open == nullptr) {
        return failWithErrno(call.status(ERROR_INVALID_HANDLE));
    }
    *facts = statOf(open->node());
    return 0;
}

int _wstat64(const char16_t* path, _stat64* facts) {
    Call call("_wstat64");
    if (call.fails()) {
        return failWithErrno(call.status(ERROR_FILE_NOT_FOUND));
    }
    const Volumes::Place place = Machine::current().volumes.find(processPath(path), true);
    if (place.status != ERROR_SUCCESS) {
        return failWithErrno(ERROR_FILE_NOT_FOUND);
    }
    *facts = statOf(*place.node);
    return 0;
}

int _wmkdir(const char16_t* path) {
    Call call("_wmkdir");
    const DWORD status = call.fails()
                             ? call.status(ERROR_ACCESS_DENIED)
                             : Machine::current().volumes.createDirectory(processPath(path));
    return status == ERROR_SUCCESS ? 0 : failWithErrno(status);
}

char16_t* _wgetcwd(char16_t* buffer, int size) {
    Call call("_wgetcwd");
    if (call.fails()) {
        failWithErrno(call.status(ERROR_ACCESS_DENIED));
        return nullptr;
    }
    const std::u16string& directory = Machine::current().volumes.currentDirectory();
    if (size <= 0 || directory.size() >= static_cast<std::size_t>(size)) {
        errno = ERANGE;
        return nullptr;
    }
    copyOut(directory, buffer, static_cast<std::uint32_t>(size));
    return buffer;
}

FILE* _wfopen(const char16_t* path, const char16_t* mode) {
    Call call("_wfopen");
    return openStream(call, path, mode);
}

FILE* _wfreopen(const char16_t* path, const char16_t* mode, FILE* stream) {
    Call call("_wfreopen");
    std::fclose(stream);
    return openStream(call, path, mode);
}

errno_t strerror_s(char* buffer, std::size_t size, int error) {
    if (buffer == nullptr || size == 0) {
        return EINVAL;
    }
    const std::size_t index = static_cast<std::size_t>(error);
    const std::string_view text =
        error >= 0 && index < std::size(kErrorTexts) ? kErrorTexts[index] : "Unknown error";
    buffer[text.copy(buffer, size - 1)] = '\0';
    return 0;
}

}  // extern "C"
