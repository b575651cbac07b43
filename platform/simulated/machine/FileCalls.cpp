// The functions on open files and on paths.
#include <windows.h>

#include <algorithm>
#include <cstring>

#include "simulated/machine/Machine.h"
#include "simulated/machine/ProcessPath.h"
#include "simulated/machine/Security.h"

using namespace simulated;

namespace {

/// TRUE, or FALSE with the last error.
BOOL result(DWORD status) {
    return status == ERROR_SUCCESS ? TRUE : failWith(status);
}

std::shared_ptr<OpenFile> openFile(HANDLE handle) {
    return Machine::current().handles.find<OpenFile>(handle);
}

DWORD seekFile(HANDLE handle, LARGE_INTEGER distance, DWORD method, LARGE_INTEGER& position) {
    const std::shared_ptr<OpenFile> file = openFile(handle);
    if (file == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    if (method > FILE_END) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto size = static_cast<LONGLONG>(file->node().content.size());
    const LONGLONG start = method == FILE_BEGIN     ? 0
                           : method == FILE_CURRENT ? static_cast<LONGLONG>(file->position())
                                                    : size;
    if (__builtin_add_overflow(start, distance.QuadPart, &position.QuadPart)) {
        return ERROR_INVALID_PARAMETER;
    }
    if (position.QuadPart < 0) {
        return ERROR_NEGATIVE_SEEK;
    }
    file->seek(static_cast<std::uint64_t>(position.QuadPart));
    return ERROR_SUCCESS;
}

/// The length of a self-relative descriptor.
std::size_t descriptorSize(const void* descriptor) {
    const char* const start = static_cast<const char*>(descriptor);
    SECURITY_DESCRIPTOR_RELATIVE head;
    std::memcpy(&head, start, sizeof(head));
    std::size_t size = sizeof(head);
    for (const DWORD list : {head.Sacl, head.Dacl}) {
        if (list != 0) {
            ACL acl;
            std::memcpy(&acl, start + list, sizeof(acl));
            size = std::max<std::size_t>(size, list + acl.AclSize);
        }
    }
    for (const DWORD sid : {head.Owner, head.Group}) {
        if (sid != 0) {
            const auto subAuthorities = static_cast<unsigned char>(start[sid + 1]);
            size = std::max<std::size_t>(size, sid + 8 + 4u * subAuthorities);
        }
    }
    return size;
}

std::string descriptorBytes(const void* descriptor) {
    return descriptor == nullptr
               ? std::string()
               : std::string(static_cast<const char*>(descriptor), descriptorSize(descriptor));
}

std::string descriptorOf(const SECURITY_ATTRIBUTES* attributes) {
    return attributes == nullptr ? std::string()
                                 : descriptorBytes(attributes->lpSecurityDescriptor);
}

/// What a file that nobody gave a descriptor inherits from its drive.
std::string inheritedDescriptor() {
    const ParsedDescriptor parsed =
        parseDescriptor(u"D:(A;OICIID;FA;;;SY)(A;OICIID;FA;;;BA)(A;OICIID;FRFX;;;BU)");
    return {parsed.descriptor.begin(), parsed.descriptor.end()};
}

/// Replaces each name of an existing path by the name that a directory keeps for it, long or short.
/// What stands in front, drive or share, stays as it is given, and so do "." and "..".
struct RenamedPath {
    DWORD status = ERROR_SUCCESS;
    std::u16string text;
};
RenamedPath renamePath(std::u16string_view given, bool toShort) {
    RenamedPath renamed;
    std::size_t at = 0;
    const auto isSeparator = [](char16_t c) { return c == u'\\' || c == u'/'; };
    const FilePath whole = processPath(std::u16string(given).c_str());
    if (whole.status != ERROR_SUCCESS) {
        renamed.status = whole.status;
        return renamed;
    }
    const bool isShare = whole.volume.starts_with(u'\\');
    if (whole.isLiteral || isShare) {
        at = (whole.isLiteral ? (isShare ? 6 : 4) : 0) + whole.volume.size();
    } else if (given.size() > 1 && given[1] == u':') {
        at = 2;
    }
    renamed.text = given.substr(0, at);
    while (at < given.size()) {
        if (isSeparator(given[at])) {
            renamed.text += given[at++];
            continue;
        }
        const std::size_t end =
            static_cast<std::size_t>(std::find_if(given.begin() + static_cast<std::ptrdiff_t>(at),
                                                  given.end(), isSeparator) -
                                     given.begin());
        const std::u16string_view name = given.substr(at, end - at);
        const Volumes::Place place = Machine::current().volumes.find(
            processPath(std::u16string(given.substr(0, end)).c_str()), false);
        if (place.status != ERROR_SUCCESS) {
            renamed.status = place.status;
            return renamed;
        }
        const FileNode& node = *place.node;
        const bool keeps = name == u"." || name == u".." || node.parent == nullptr;
        renamed.text += keeps                                ? std::u16string(name)
                        : toShort && !node.shortName.empty() ? node.shortName
                                                             : node.name;
        at = end;
    }
    return renamed;
}

DWORD copyRenamed(LPCWSTR path, LPWSTR buffer, DWORD size, bool toShort) {
    const RenamedPath renamed = renamePath(argument(path), toShort);
    return renamed.status == ERROR_SUCCESS ? copyOut(renamed.text, buffer, size)
                                           : static_cast<DWORD>(failWith(renamed.status));
}

}  // namespace

extern "C" {

HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flagsAndAttributes, HANDLE) {
    Call call("CreateFileW");
    const auto fail = [](DWORD status) {
        SetLastError(status);
        return INVALID_HANDLE_VALUE;
    };
    if (call.fails()) {
        return fail(call.status(ERROR_ACCESS_DENIED));
    }
    if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING ||
        (disposition == TRUNCATE_EXISTING && (access & GENERIC_WRITE) == 0)) {
        return fail(ERROR_INVALID_PARAMETER);
    }
    Machine& machine = Machine::current();
    const Volumes::Opened opened = machine.volumes.open(
        processPath(path),
        {access, share, disposition, flagsAndAttributes, descriptorOf(security)});
    if (opened.status != ERROR_SUCCESS) {
        return fail(opened.status);
    }
    if (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS) {
        SetLastError(opened.existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    }
    return machine.handles.add(opened.file);
}

BOOL WINAPI ReadFile(HANDLE handle, LPVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED) {
    Call call("ReadFile");
    if (done != nullptr) {
        *done = 0;
    }
    if (call.fails()) {
        return failWith(call.status(ERROR_READ_FAULT));
    }
    const std::shared_ptr<OpenFile> file = openFile(handle);
    if (file == nullptr) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    if (file->node().isDirectory) {
        return failWith(ERROR_INVALID_FUNCTION);
    }
    if (!file->mayRead()) {
        return failWith(ERROR_ACCESS_DENIED);
    }
    const auto count = static_cast<DWORD>(file->read(buffer, size));
    if (done != nullptr) {
        *done = count;
    }
    return TRUE;
}

BOOL WINAPI WriteFile(HANDLE handle, LPCVOID data, DWORD size, LPDWORD done, LPOVERLAPPED) {
    Call call("WriteFile");
    if (done != nullptr) {
        *done = 0;
    }
    if (call.fails()) {
        return failWith(call.status(ERROR_DISK_FULL));
    }
    const std::shared_ptr<OpenFile> file = openFile(handle);
    if (file == nullptr) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    if (file->node().isDirectory || (!file->mayWrite() && !file->appends())) {
        return failWith(ERROR_ACCESS_DENIED);
    }
    file->write(data, size);
    if (done != nullptr) {
        *done = size;
    }
    return TRUE;
}

BOOL WINAPI SetFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* newPosition,
                             DWORD method) {
    Call call("SetFilePointerEx");
    if (call.fails()) {
        return failWith(call.status(ERROR_INVALID_HANDLE));
    }
    LARGE_INTEGER position;
    const DWORD status = seekFile(handle, distance, method, position);
    if (status == ERROR_SUCCESS && newPosition != nullptr) {
        *newPosition = position;
    }
    return result(status);
}

DWORD WINAPI SetFilePointer(HANDLE handle, LONG distance, PLONG distanceHigh, DWORD method) {
    Call call("SetFilePointer");
    LARGE_INTEGER whole;
    whole.QuadPart = distance;
    if (distanceHigh != nullptr) {
        whole.LowPart = static_cast<DWORD>(distance);
        whole.HighPart = *distanceHigh;
    }
    LARGE_INTEGER position;
    const DWORD status = call.fails() ? call.status(ERROR_INVALID_HANDLE)
                                      : seekFile(handle, whole, method, position);
    SetLastError(status);
    if (status != ERROR_SUCCESS) {
        return INVALID_SET_FILE_POINTER;
    }
    if (distanceHigh != nullptr) {
        *distanceHigh = position.HighPart;
    }
    return position.LowPart;
}

BOOL WINAPI SetEndOfFile(HANDLE handle) {
    Call call("SetEndOfFile");
    if (call.fails()) {
        return failWith(call.status(ERROR_DISK_FULL));
    }
    const std::shared_ptr<OpenFile> file = openFile(handle);
    if (file == nullptr) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    if (!file->mayWrite()) {
        return failWith(ERROR_ACCESS_DENIED);
    }
    file->resize(file->position());
    return TRUE;
}

BOOL WINAPI FlushFileBuffers(HANDLE handle) {
    Call call("FlushFileBuffers");
    if (call.fails()) {
        return failWith(call.status(ERROR_WRITE_FAULT));
    }
    return result(openFile(handle) == nullptr ? ERROR_INVALID_HANDLE : ERROR_SUCCESS);
}

BOOL WINAPI GetFileSizeEx(HANDLE handle, LARGE_INTEGER* size) {
    Call call("GetFileSizeEx");
    if (call.fails()) {
        return failWith(call.status(ERROR_INVALID_HANDLE));
    }
    const std::shared_ptr<OpenFile> file = openFile(handle);
    if (file == nullptr) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    size->QuadPart = static_cast<LONGLONG>(file->node().content.size());
    return TRUE;
}

DWORD WINAPI GetFileSize(HANDLE handle, LPDWORD high) {
    Call call("GetFileSize");
    const std::shared_ptr<OpenFile> file = openFile(handle);
    if (call.fails() || file == nullptr) {
        SetLastError(call.status(ERROR_INVALID_HANDLE));
        return INVALID_FILE_SIZE;
    }
    SetLastError(ERROR_SUCCESS);
    const std::uint64_t size = file->node().content.size();
    if (high != nullptr) {
        *high = static_cast<DWORD>(size >> 32);
    }
    return static_cast<DWORD>(size);
}

DWORD WINAPI GetFileAttributesW(LPCWSTR path) {
    Call call("GetFileAttributesW");
    const auto fail = [](DWORD status) {
        SetLastError(status);
        return INVALID_FILE_ATTRIBUTES;
    };
    if (call.fails()) {
        return fail(call.status(ERROR_FILE_NOT_FOUND));
    }
    const Volumes::Place place = Machine::current().volumes.find(processPath(path), false);
    return place.status == ERROR_SUCCESS ? place.node->allAttributes() : fail(place.status);
}

BOOL WINAPI SetFileAttributesW(LPCWSTR path, DWORD attributes) {
    Call call("SetFileAttributesW");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    return result(Machine::current().volumes.changeAttributes(processPath(path), attributes));
}

BOOL WINAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES security) {
    Call call("CreateDirectoryW");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    return result(
        Machine::current().volumes.createDirectory(processPath(path), descriptorOf(security)));
}

BOOL WINAPI RemoveDirectoryW(LPCWSTR path) {
    Call call("RemoveDirectoryW");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    return result(Machine::current().volumes.removeDirectory(processPath(path)));
}

BOOL WINAPI DeleteFileW(LPCWSTR path) {
    Call call("DeleteFileW");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    return result(Machine::current().volumes.deleteFile(processPath(path)));
}

BOOL WINAPI CopyFileW(LPCWSTR existing, LPCWSTR created, BOOL failIfExists) {
    Call call("CopyFileW");
    if (call.fails()) {
        return failWith(call.status(ERROR_DISK_FULL));
    }
    return result(Machine::current().volumes.copyFile(processPath(existing), processPath(created),
                                                      failIfExists != FALSE));
}

BOOL WINAPI MoveFileExW(LPCWSTR existing, LPCWSTR moved, DWORD flags) {
    Call call("MoveFileExW");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    Volumes& volumes = Machine::current().volumes;
    const FilePath from = processPath(existing);
    if ((flags & MOVEFILE_DELAY_UNTIL_REBOOT) == 0) {
        return result(moved == nullptr ? volumes.deleteFile(from)
                                       : volumes.moveFile(from, processPath(moved), flags));
    }
    if ((flags & MOVEFILE_COPY_ALLOWED) != 0) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    const Volumes::Place source = volumes.find(from, false);
    if (source.status != ERROR_SUCCESS) {
        return failWith(source.status);
    }
    const FilePath to = moved == nullptr ? FilePath() : processPath(moved);
    if (to.status != ERROR_SUCCESS) {
        return failWith(to.status);
    }
    volumes.delayMove({from.text(), to.text(), (flags & MOVEFILE_REPLACE_EXISTING) != 0});
    return TRUE;
}

DWORD WINAPI GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR* filePart) {
    Call call("GetFullPathNameW");
    if (call.fails()) {
        return static_cast<DWORD>(failWith(call.status(ERROR_INVALID_NAME)));
    }
    const std::u16string full =
        fullPath(argument(path), Machine::current().volumes.currentDirectory());
    if (full.empty()) {
        return static_cast<DWORD>(failWith(ERROR_INVALID_NAME));
    }
    const DWORD length = copyOut(full, buffer, size);
    if (filePart != nullptr && length == full.size()) {
        const std::size_t name = full.rfind(u'\\') + 1;
        *filePart = name == full.size() ? nullptr : buffer + name;
    }
    return length;
}

DWORD WINAPI GetLongPathNameW(LPCWSTR path, LPWSTR buffer, DWORD size) {
    Call call("GetLongPathNameW");
    if (call.fails()) {
        return static_cast<DWORD>(failWith(call.status(ERROR_FILE_NOT_FOUND)));
    }
    return copyRenamed(path, buffer, size, false);
}

DWORD WINAPI GetShortPathNameW(LPCWSTR path, LPWSTR buffer, DWORD size) {
    Call call("GetShortPathNameW");
    if (call.fails()) {
        return static_cast<DWORD>(failWith(call.status(ERROR_FILE_NOT_FOUND)));
    }
    return copyRenamed(path, buffer, size, true);
}

UINT WINAPI GetDriveTypeW(LPCWSTR root) {
    Call call("GetDriveTypeW");
    if (call.fails()) {
        return DRIVE_NO_ROOT_DIR;
    }
    const FilePath path = processPath(root == nullptr ? u"\\" : root);
    return path.status == ERROR_SUCCESS && path.names.empty()
               ? Machine::current().volumes.driveType(path.volume)
               : DRIVE_NO_ROOT_DIR;
}

DWORD WINAPI GetCurrentDirectoryW(DWORD size, LPWSTR buffer) {
    Call call("GetCurrentDirectoryW");
    if (call.fails()) {
        return static_cast<DWORD>(failWith(call.status(ERROR_NOT_ENOUGH_MEMORY)));
    }
    return copyOut(Machine::current().volumes.currentDirectory(), buffer, size);
}

BOOL WINAPI SetCurrentDirectoryW(LPCWSTR path) {
    Call call("SetCurrentDirectoryW");
    if (call.fails()) {
        return failWith(call.status(ERROR_FILE_NOT_FOUND));
    }
    Volumes& volumes = Machine::current().volumes;
    const FilePath parsed = processPath(path);
    const Volumes::Place place = volumes.find(parsed, true);
    if (place.status != ERROR_SUCCESS) {
        return failWith(place.status);
    }
    if (!place.node->isDirectory) {
        return failWith(ERROR_DIRECTORY);
    }
    volumes.setCurrentDirectory(parsed.text());
    return TRUE;
}

BOOL WINAPI GetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR descriptor,
                             DWORD size, LPDWORD needed) {
    Call call("GetFileSecurityW");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    const Volumes::Place place = Machine::current().volumes.find(processPath(path), true);
    if (place.status != ERROR_SUCCESS) {
        return failWith(place.status);
    }
    const std::string bytes =
        place.node->security.empty() ? inheritedDescriptor() : place.node->security;
    *needed = static_cast<DWORD>(bytes.size());
    if (size < bytes.size()) {
        return failWith(ERROR_INSUFFICIENT_BUFFER);
    }
    bytes.copy(static_cast<char*>(descriptor), bytes.size());
    return TRUE;
}

BOOL WINAPI SetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION given,
                             PSECURITY_DESCRIPTOR descriptor) {
    Call call("SetFileSecurityW");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    const Volumes::Place place = Machine::current().volumes.find(processPath(path), true);
    if (place.status != ERROR_SUCCESS) {
        return failWith(place.status);
    }
    if (place.node->writeDenied) {
        return failWith(ERROR_ACCESS_DENIED);
    }
    if ((given & DACL_SECURITY_INFORMATION) != 0) {
        place.node->security = descriptorBytes(descriptor);
    }
    return TRUE;
}

}  // extern "C"
