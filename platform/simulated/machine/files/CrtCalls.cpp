// Files of Windows' C run-time: descriptors, and the host's FILE over them.
#include "simulated/machine/files/CrtFiles.h"

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
#include "simulated/machine/files/ProcessPath.h"

using namespace simulated;

namespace {

CrtFiles& crt() {
    return Machine::current().crt;
}

/// A call that also stores the reason of a failure in `errno`.
template <class Result, class Work>
Result crtCall(const char* function, DWORD usual, Result failed, Work work) {
    const Result result = call(function, usual, failed, work);
    if (result == failed) {
        errno = errnoOf(GetLastError());
    }
    return result;
}

OpenFile& openFile(int number) {
    const CrtFile* const file = crt().find(number);
    demand(file != nullptr, ERROR_INVALID_HANDLE);
    const auto open = Machine::current().handles.find<OpenFile>(file->handle);
    demand(open != nullptr, ERROR_INVALID_HANDLE);
    return *open;
}

/// Opens a file and gives its descriptor.
int openNumbered(const char16_t* path, const FileSystem::OpenRequest& request, bool text,
                 bool appends) {
    Machine& machine = Machine::current();
    const FileSystem::Opened opened = machine.fileSystem.open(processPath(path), request);
    const bool makes = request.disposition == OPEN_ALWAYS || request.disposition == CREATE_ALWAYS;
    SetLastError(makes && opened.existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return machine.crt.add({machine.handles.add(opened.file), text, appends});
}

/// Writes; in text mode a line feed becomes CR LF.
void writeNumbered(int number, std::string_view data) {
    OpenFile& open = openFile(number);
    demand(open.mayWrite(), ERROR_INVALID_HANDLE);
    const CrtFile& file = *crt().find(number);
    if (file.appends) {
        open.seek(open.node().content.size());
    }
    std::string text;
    for (const char c : data) {
        text += file.text && c == '\n' ? "\r\n" : std::string_view(&c, 1);
    }
    open.write(text.data(), text.size());
}

// The host's FILE calls these with the number of a descriptor as its cookie.

struct Cookie {
    int number;
};

ssize_t readCookie(void* cookie, char* buffer, std::size_t size) {
    return crtCall("fread", ERROR_READ_FAULT, ssize_t{-1}, [&] {
        const int number = static_cast<Cookie*>(cookie)->number;
        OpenFile& open = openFile(number);
        if (crt().find(number)->text) {
            notSupported("fread", "the text mode");
        }
        return static_cast<ssize_t>(open.read(buffer, size));
    });
}

ssize_t writeCookie(void* cookie, const char* data, std::size_t size) {
    return crtCall("fwrite", ERROR_DISK_FULL, ssize_t{0}, [&] {
        writeNumbered(static_cast<Cookie*>(cookie)->number, {data, size});
        return static_cast<ssize_t>(size);
    });
}

int closeCookie(void* cookie) {
    const std::unique_ptr<Cookie> owned(static_cast<Cookie*>(cookie));
    return crtCall("fclose", ERROR_INVALID_HANDLE, -1, [&] {
        demand(crt().close(owned->number), ERROR_INVALID_HANDLE);
        return 0;
    });
}

/// The texts of what `errnoOf` gives.
constexpr struct {
    int number;
    std::string_view words;
} kErrorTexts[] = {{0, "No error"},
                   {EINTR, "Interrupted function call"},
                   {ENOENT, "No such file or directory"},
                   {EACCES, "Permission denied"},
                   {EBADF, "Bad file descriptor"},
                   {ENOMEM, "Not enough space"},
                   {EEXIST, "File exists"},
                   {EINVAL, "Invalid argument"},
                   {ENOSPC, "No space left on device"},
                   {ENOTEMPTY, "Directory not empty"}};

/// The stream over a file that is opened: "r" and "rb" for reading, "w" emptied for writing.
FILE* openStream(const char16_t* path, const char16_t* given) {
    const std::u16string_view mode = argument(given);
    const bool writes = mode == u"w";
    if (!writes && mode != u"r" && mode != u"rb") {
        notSupported("_wfopen", "the mode " + toUtf8(mode));
    }
    FileSystem::OpenRequest request;
    request.access = writes ? GENERIC_WRITE : GENERIC_READ;
    request.share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    request.disposition = writes ? CREATE_ALWAYS : OPEN_EXISTING;
    auto cookie =
        std::make_unique<Cookie>(Cookie{openNumbered(path, request, mode != u"rb", false)});
    FILE* const stream = fopencookie(cookie.get(), writes ? "w" : "r",
                                     {readCookie, writeCookie, nullptr, closeCookie});
    static_cast<void>(cookie.release());  // closeCookie frees it
    return stream;
}

}  // namespace

extern "C" {

errno_t _wsopen_s(int* file, const char16_t* path, int flags, int share, int permissions) {
    required("_wsopen_s", file) = crtCall("_wsopen_s", ERROR_ACCESS_DENIED, -1, [&] {
        if (flags != (_O_WRONLY | _O_APPEND | _O_CREAT) || share != _SH_DENYWR ||
            permissions != (_S_IREAD | _S_IWRITE)) {
            notSupported("_wsopen_s", "the flags " + std::to_string(flags));
        }
        FileSystem::OpenRequest request;
        request.access = GENERIC_WRITE;
        request.share = FILE_SHARE_READ;
        request.disposition = OPEN_ALWAYS;
        return openNumbered(path, request, true, true);
    });
    return *file == -1 ? errno : 0;
}

int _open_osfhandle(std::intptr_t handle, int flags) {
    return crtCall("_open_osfhandle", ERROR_INVALID_HANDLE, -1, [&] {
        if (flags != 0) {
            notSupported("_open_osfhandle", "the flags " + std::to_string(flags));
        }
        Machine& machine = Machine::current();
        const HANDLE file = reinterpret_cast<HANDLE>(handle);
        demand(machine.handles.find<OpenFile>(file) != nullptr, ERROR_INVALID_HANDLE);
        return machine.crt.add({file, false, false});
    });
}

int _write(int file, const void* data, unsigned int size) {
    return crtCall("_write", ERROR_DISK_FULL, -1, [&] {
        writeNumbered(file, {static_cast<const char*>(data), size});
        return static_cast<int>(size);
    });
}

errno_t _chsize_s(int file, long long size) {
    const int result = crtCall("_chsize_s", ERROR_DISK_FULL, -1, [&] {
        OpenFile& open = openFile(file);
        demand(open.mayWrite(), ERROR_ACCESS_DENIED);
        open.resize(static_cast<std::uint64_t>(size));
        return 0;
    });
    return result == -1 ? errno : 0;
}

int _close(int file) {
    return crtCall("_close", ERROR_INVALID_HANDLE, -1, [&] {
        demand(crt().close(file), ERROR_INVALID_HANDLE);
        return 0;
    });
}

int _fstat64(int file, _stat64* facts) {
    return crtCall("_fstat64", ERROR_INVALID_HANDLE, -1, [&] {
        required("_fstat64", facts).st_size =
            static_cast<long long>(openFile(file).node().content.size());
        return 0;
    });
}

/// A separator at the end is an error, but at that of a drive's root.
int _wstat64(const char16_t* path, _stat64* facts) {
    return crtCall("_wstat64", ERROR_FILE_NOT_FOUND, -1, [&] {
        const FilePath whole = processPath(path);
        const FileSystem::Place place = Machine::current().fileSystem.find(whole, true);
        demand(place.status == ERROR_SUCCESS && !(whole.endsInSeparator && !whole.names.empty()),
               ERROR_FILE_NOT_FOUND);
        required("_wstat64", facts).st_size = static_cast<long long>(place.node->content.size());
        return 0;
    });
}

int _wmkdir(const char16_t* path) {
    return crtCall("_wmkdir", ERROR_ACCESS_DENIED, -1, [&] {
        Machine::current().fileSystem.createDirectory(processPath(path));
        return 0;
    });
}

char16_t* _wgetcwd(char16_t* buffer, int size) {
    char16_t* const none = nullptr;
    return crtCall("_wgetcwd", ERROR_ACCESS_DENIED, none, [&] {
        const std::u16string& directory = Machine::current().fileSystem.currentDirectory();
        demand(static_cast<int>(directory.size()) < size, ERROR_INSUFFICIENT_BUFFER);
        required("_wgetcwd", buffer);
        copyOut(directory, buffer, static_cast<std::uint32_t>(size));
        return buffer;
    });
}

FILE* _wfopen(const char16_t* path, const char16_t* mode) {
    FILE* const none = nullptr;
    return crtCall("_wfopen", ERROR_ACCESS_DENIED, none, [&] { return openStream(path, mode); });
}

FILE* _wfreopen(const char16_t* path, const char16_t* mode, FILE* stream) {
    FILE* const none = nullptr;
    std::fclose(stream);
    return crtCall("_wfreopen", ERROR_ACCESS_DENIED, none, [&] { return openStream(path, mode); });
}

errno_t strerror_s(char* buffer, std::size_t size, int error) {
    const auto text = std::find_if(std::begin(kErrorTexts), std::end(kErrorTexts),
                                   [&](const auto& known) { return known.number == error; });
    if (text == std::end(kErrorTexts) || buffer == nullptr || size == 0) {
        notSupported("strerror_s", "the number " + std::to_string(error) + " or no buffer");
    }
    buffer[text->words.copy(buffer, size - 1)] = '\0';
    return 0;
}

}  // extern "C"
