#include "zip/File.h"

#include <tchar.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "zip/Memory.h"

namespace nz {
namespace {

constexpr DWORD kMaxReadSize = 0x7fffffff;

bool startsWith(const TCHAR* text, const TCHAR* prefix) {
    while (*prefix != 0) {
        if (*text++ != *prefix++) {
            return false;
        }
    }
    return true;
}

/// Returns the name in wide characters after `reserved` unused ones, or null.
Buffer<TCHAR> toWide(const char* name, UINT codePage, std::size_t reserved) {
    const int length = MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, name, -1, nullptr, 0);
    if (length <= 0) {
        return nullptr;
    }
    Buffer<TCHAR> wide = allocate<TCHAR>(reserved + static_cast<std::size_t>(length));
    if (wide == nullptr || MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, name, -1,
                                               wide.get() + reserved, length) != length) {
        return nullptr;
    }
    return wide;
}

HANDLE open(const TCHAR* path) {
    return CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

HANDLE openLong(const char* name) {
    static const TCHAR local[] = _T("\\\\?\\");
    static const TCHAR network[] = _T("\\\\?\\UNC");
    constexpr std::size_t kRoom = std::size(network) - 1;

    const Buffer<TCHAR> buffer = toWide(name, CP_ACP, kRoom);
    if (buffer == nullptr) {
        return INVALID_HANDLE_VALUE;
    }
    TCHAR* path = buffer.get() + kRoom;
    const TCHAR* prefix = local;
    std::size_t length = std::size(local) - 1;
    if (startsWith(path, local)) {
        length = 0;
    } else if (startsWith(path, _T("\\\\"))) {
        prefix = network;
        length = kRoom;
        ++path;  // the prefix replaces one of the two
    }
    path -= length;
    std::memcpy(path, prefix, length * sizeof(TCHAR));
    return open(path);
}

/// Reads what is left of `count` in one call, which may return less. Returns the bytes read, or 0.
DWORD readSome(HANDLE file, char* buffer, std::int64_t count) {
    for (;;) {
        DWORD done = 0;
        const DWORD wanted = static_cast<DWORD>(std::min<std::int64_t>(count, kMaxReadSize));
        if (ReadFile(file, buffer, wanted, &done, nullptr)) {
            return done;
        }
        if (GetLastError() == ERROR_BROKEN_PIPE || errno != EINTR) {
            return 0;
        }
        // An interrupted read is repeated; errno is reset so that a file that can't be read at all
        // ends the loop.
        errno = 0;
    }
}

}  // namespace

HANDLE openFile(const char* name) {
    if (std::strlen(name) >= kMaxFileName) {
        return openLong(name);
    }
    const Buffer<TCHAR> path = toWide(name, CP_UTF8, 0);
    return path == nullptr ? INVALID_HANDLE_VALUE : open(path.get());
}

std::int64_t fileLength(HANDLE file) {
    LARGE_INTEGER distance = {};
    LARGE_INTEGER end = {};
    return SetFilePointerEx(file, distance, &end, FILE_END) ? end.QuadPart : -1;
}

bool readAt(HANDLE file, std::int64_t position, char* buffer, std::int64_t count) {
    LARGE_INTEGER start = {};
    start.QuadPart = position;
    if (position < 0 || !SetFilePointerEx(file, start, nullptr, FILE_BEGIN)) {
        return false;
    }
    while (count > 0) {
        const DWORD done = readSome(file, buffer, count);
        if (done == 0) {
            return false;
        }
        buffer += done;
        count -= done;
    }
    return true;
}

}  // namespace nz
