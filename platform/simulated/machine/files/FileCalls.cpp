// The functions on open files and on paths.
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "simulated/machine/Machine.h"
#include "simulated/machine/files/ProcessPath.h"

using namespace simulated;

namespace {

FileSystem& fileSystem() {
    return Machine::current().fileSystem;
}

std::shared_ptr<OpenFile> openFile(HANDLE handle) {
    auto file = Machine::current().handles.find<OpenFile>(handle);
    demand(file != nullptr, ERROR_INVALID_HANDLE);
    return file;
}

/// The bytes of a self-relative descriptor, which holds a discretionary list and nothing else.
std::string descriptorBytes(const char* descriptor) {
    requireNonNull("CreateFileW or SetFileSecurityW", descriptor);
    SECURITY_DESCRIPTOR_RELATIVE head;
    std::memcpy(&head, descriptor, sizeof(head));
    if (head.Owner != 0 || head.Group != 0 || head.Sacl != 0 || head.Dacl == 0) {
        notSupported("CreateFileW or SetFileSecurityW",
                     "descriptors with more or less than a DACL");
    }
    ACL list;
    std::memcpy(&list, descriptor + head.Dacl, sizeof(list));
    return {descriptor, head.Dacl + list.AclSize};
}

std::string descriptorOf(const SECURITY_ATTRIBUTES* attributes) {
    return attributes == nullptr
               ? std::string()
               : descriptorBytes(static_cast<const char*>(attributes->lpSecurityDescriptor));
}

/// Refuses to open in ways that no caller has asked for.
void demandSupported(DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    constexpr DWORD kFlags =
        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;
    if (access == 0 || (access & ~(GENERIC_READ | GENERIC_WRITE)) != 0 ||
        (share & ~DWORD{FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE}) != 0 ||
        (disposition != CREATE_NEW && disposition != OPEN_EXISTING) || (flags & ~kFlags) != 0) {
        notSupported("CreateFileW", "access " + std::to_string(access) + ", share mode " +
                                        std::to_string(share) + ", disposition " +
                                        std::to_string(disposition) + " and flags " +
                                        std::to_string(flags) + " together");
    }
}

/// Returns a path with the long names of its entries. The part before the names, "." and ".." stay
/// as they are given.
std::u16string longPath(std::u16string_view given) {
    const auto isSeparator = [](char16_t c) { return c == u'\\' || c == u'/'; };
    const FilePath whole = processPath(std::u16string(given).c_str());
    check(whole.status);
    if (whole.isLiteral || whole.volume.starts_with(u'\\')) {
        notSupported("GetLongPathNameW", "shares and literal paths");
    }
    std::size_t at = given.size() > 1 && given[1] == u':' ? 2 : 0;
    std::u16string result(given.substr(0, at));
    while (at < given.size()) {
        if (isSeparator(given[at])) {
            result += given[at++];
            continue;
        }
        const auto end =
            static_cast<std::size_t>(std::find_if(given.begin() + static_cast<std::ptrdiff_t>(at),
                                                  given.end(), isSeparator) -
                                     given.begin());
        const std::u16string_view name = given.substr(at, end - at);
        const FileSystem::Place place =
            fileSystem().existing(processPath(std::u16string(given.substr(0, end)).c_str()), false);
        result += name == u"." || name == u".." ? name : std::u16string_view(place.node->name);
        at = end;
    }
    return result;
}

/// A call that copies content. A planned fault may interrupt the copy, see `nextFaultHalvesCopy`.
template <class Work>
BOOL copyingCall(const char* function, std::uint32_t usual, Work work) {
    const DWORD status = statusOf([&] {
        const Call entered(function);
        if (entered.fails() &&
            std::exchange(Machine::current().volumes.nextFaultHalvesCopy, false)) {
            statusOf([&] { work(true); });
        }
        entered.pass(usual);
        work(false);
    });
    SetLastError(status);
    return status == ERROR_SUCCESS ? TRUE : FALSE;
}

}  // namespace

extern "C" {

HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flagsAndAttributes, HANDLE) {
    return call("CreateFileW", ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE, [&] {
        demandSupported(access, share, disposition, flagsAndAttributes);
        const FileSystem::Opened opened = fileSystem().open(
            processPath(path),
            {access, share, disposition, flagsAndAttributes, descriptorOf(security)});
        return Machine::current().handles.add(opened.file);
    });
}

BOOL WINAPI ReadFile(HANDLE handle, LPVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED) {
    required("ReadFile", done) = 0;
    return call("ReadFile", ERROR_READ_FAULT, [&] {
        const std::shared_ptr<OpenFile> file = openFile(handle);
        demand(!file->node().isDirectory, ERROR_INVALID_FUNCTION);
        demand(file->mayRead(), ERROR_ACCESS_DENIED);
        if (size > 0) {
            requireNonNull("ReadFile", buffer);
        }
        *done = static_cast<DWORD>(file->read(buffer, size));
    });
}

BOOL WINAPI SetFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* newPosition,
                             DWORD method) {
    return call("SetFilePointerEx", ERROR_INVALID_HANDLE, [&] {
        const std::shared_ptr<OpenFile> file = openFile(handle);
        if (method != FILE_BEGIN && method != FILE_END) {
            notSupported("SetFilePointerEx", "the method " + std::to_string(method));
        }
        LARGE_INTEGER to = distance;
        to.QuadPart += method == FILE_END ? static_cast<LONGLONG>(file->node().content.size()) : 0;
        demand(to.QuadPart >= 0, ERROR_NEGATIVE_SEEK);
        file->seek(static_cast<std::uint64_t>(to.QuadPart));
        if (newPosition != nullptr) {
            *newPosition = to;
        }
    });
}

DWORD WINAPI GetFileAttributesW(LPCWSTR path) {
    return call("GetFileAttributesW", ERROR_FILE_NOT_FOUND, INVALID_FILE_ATTRIBUTES, [&] {
        const FilePath parsed = processPath(path);
        if (parsed.isDevice) {
            return DWORD{FILE_ATTRIBUTE_ARCHIVE};
        }
        return fileSystem().existing(parsed, false).node->allAttributes();
    });
}

BOOL WINAPI SetFileAttributesW(LPCWSTR path, DWORD attributes) {
    return call("SetFileAttributesW", ERROR_ACCESS_DENIED,
                [&] { fileSystem().changeAttributes(processPath(path), attributes); });
}

BOOL WINAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES security) {
    return call("CreateDirectoryW", ERROR_ACCESS_DENIED, [&] {
        if (security != nullptr) {
            notSupported("CreateDirectoryW", "a descriptor");
        }
        fileSystem().createDirectory(processPath(path));
    });
}

BOOL WINAPI RemoveDirectoryW(LPCWSTR path) {
    return call("RemoveDirectoryW", ERROR_ACCESS_DENIED,
                [&] { fileSystem().removeDirectory(processPath(path)); });
}

BOOL WINAPI DeleteFileW(LPCWSTR path) {
    return call("DeleteFileW", ERROR_ACCESS_DENIED,
                [&] { fileSystem().deleteFile(processPath(path)); });
}

BOOL WINAPI CopyFileW(LPCWSTR existing, LPCWSTR created, BOOL failIfExists) {
    return copyingCall("CopyFileW", ERROR_DISK_FULL, [&](bool part) {
        fileSystem().copyFile(processPath(existing), processPath(created), failIfExists != FALSE,
                              part);
    });
}

BOOL WINAPI MoveFileExW(LPCWSTR existing, LPCWSTR moved, DWORD flags) {
    return copyingCall("MoveFileExW", ERROR_ACCESS_DENIED, [&](bool part) {
        const bool isDelayed = (flags & MOVEFILE_DELAY_UNTIL_REBOOT) != 0;
        if (moved == nullptr && !isDelayed) {
            notSupported("MoveFileExW", "a deletion at once");
        }
        const FilePath from = processPath(existing);
        const FilePath to = moved == nullptr ? FilePath() : processPath(moved);
        if (!isDelayed) {
            fileSystem().moveFile(from, to, flags, part);
            return;
        }
        demand((flags & MOVEFILE_COPY_ALLOWED) == 0, ERROR_INVALID_PARAMETER);
        fileSystem().existing(from, false);
        check(to.status);
        // The list of delayed moves is stored in the machine's registry.
        demand(Machine::current().security.administers(), ERROR_ACCESS_DENIED);
        if (!part) {
            fileSystem().delayMove(
                {from.text(), to.text(), (flags & MOVEFILE_REPLACE_EXISTING) != 0});
        }
    });
}

DWORD WINAPI GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR* filePart) {
    return call("GetFullPathNameW", ERROR_INVALID_NAME, [&] {
        if (filePart != nullptr) {
            notSupported("GetFullPathNameW", "the name's place");
        }
        const std::u16string full = fullPath(argument(path), fileSystem().currentDirectory());
        demand(!full.empty(), ERROR_INVALID_NAME);
        return copyOut(full, buffer, size);
    });
}

DWORD WINAPI GetLongPathNameW(LPCWSTR path, LPWSTR buffer, DWORD size) {
    return call("GetLongPathNameW", ERROR_FILE_NOT_FOUND, [&] {
        demand(path != nullptr, ERROR_INVALID_PARAMETER);
        demand(*path != 0, ERROR_PATH_NOT_FOUND);
        return copyOut(longPath(path), buffer, size);
    });
}

UINT WINAPI GetDriveTypeW(LPCWSTR root) {
    return call("GetDriveTypeW", ERROR_ACCESS_DENIED, UINT{DRIVE_NO_ROOT_DIR}, [&]() -> UINT {
        const FilePath path = processPath(root);
        return path.status == ERROR_SUCCESS && path.names.empty()
                   ? fileSystem().driveType(path.volume)
                   : UINT{DRIVE_NO_ROOT_DIR};
    });
}

BOOL WINAPI SetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION given,
                             PSECURITY_DESCRIPTOR descriptor) {
    return call("SetFileSecurityW", ERROR_ACCESS_DENIED, [&] {
        if (given != DACL_SECURITY_INFORMATION) {
            notSupported("SetFileSecurityW", "other parts than the DACL");
        }
        const FileSystem::Place place = fileSystem().existing(processPath(path), true);
        demand(!fileSystem().isWriteDenied(*place.node), ERROR_ACCESS_DENIED);
        place.node->security = descriptorBytes(static_cast<const char*>(descriptor));
    });
}

}  // extern "C"
