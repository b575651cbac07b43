// Reading, setting and deleting the reparse point of an open file or directory.
#include <windows.h>
#include <winioctl.h>

#include <cstring>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

constexpr std::size_t kHeadSize = 8;  // tag, length of the data, a reserved number

struct ReparseHead {
    DWORD tag;
    WORD dataLength;
    WORD reserved;
};

/// A control function's input, its head taken apart if it is whole.
struct ReparseInput {
    std::string_view bytes;
    ReparseHead head = {};
    bool isWhole = false;
};

ReparseInput readInput(const void* in, DWORD size) {
    ReparseInput input;
    if (in == nullptr || size < kHeadSize || size > MAXIMUM_REPARSE_DATA_BUFFER_SIZE) {
        return input;
    }
    input.bytes = {static_cast<const char*>(in), size};
    std::memcpy(&input.head, in, kHeadSize);
    input.isWhole = input.head.dataLength + kHeadSize == size;
    return input;
}

/// Whether the names of a mount point lie within its data.
bool isGoodMountPoint(std::string_view buffer) {
    return !substituteName(buffer).empty();
}

DWORD setReparsePoint(FileNode& node, const ReparseInput& input) {
    if (!input.isWhole) {
        return ERROR_INVALID_REPARSE_DATA;
    }
    if (!node.reparse.empty() && node.reparseTag() != input.head.tag) {
        return ERROR_REPARSE_TAG_MISMATCH;
    }
    if (input.head.tag == IO_REPARSE_TAG_MOUNT_POINT) {
        if (!node.isDirectory) {
            return ERROR_DIRECTORY;
        }
        if (!node.entries.empty()) {
            return ERROR_DIR_NOT_EMPTY;
        }
        if (!isGoodMountPoint(input.bytes)) {
            return ERROR_INVALID_REPARSE_DATA;
        }
    }
    node.reparse = input.bytes;
    return ERROR_SUCCESS;
}

DWORD deleteReparsePoint(FileNode& node, const ReparseInput& input) {
    if (!input.isWhole || input.head.dataLength != 0) {
        return ERROR_INVALID_REPARSE_DATA;
    }
    if (node.reparse.empty()) {
        return ERROR_NOT_A_REPARSE_POINT;
    }
    if (node.reparseTag() != input.head.tag) {
        return ERROR_REPARSE_TAG_MISMATCH;
    }
    node.reparse.clear();
    return ERROR_SUCCESS;
}

DWORD getReparsePoint(const FileNode& node, void* out, DWORD size, DWORD& returned) {
    if (node.reparse.empty()) {
        return ERROR_NOT_A_REPARSE_POINT;
    }
    if (size < kHeadSize) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    returned = static_cast<DWORD>(node.reparse.copy(static_cast<char*>(out), size));
    return returned < node.reparse.size() ? ERROR_MORE_DATA : ERROR_SUCCESS;
}

}  // namespace

extern "C" {

BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED) {
    Call call("DeviceIoControl");
    if (call.fails()) {
        return failWith(call.status(ERROR_NOT_SUPPORTED));
    }
    const auto file = Machine::current().handles.find<OpenFile>(device);
    if (file == nullptr) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    const bool mayChange = (file->access() & (FILE_WRITE_DATA | FILE_WRITE_ATTRIBUTES)) != 0;
    if (code != FSCTL_GET_REPARSE_POINT && !mayChange) {
        return failWith(ERROR_ACCESS_DENIED);
    }
    DWORD count = 0;
    DWORD status = ERROR_INVALID_FUNCTION;
    if (code == FSCTL_SET_REPARSE_POINT) {
        status = setReparsePoint(file->node(), readInput(in, inSize));
    } else if (code == FSCTL_GET_REPARSE_POINT) {
        status = getReparsePoint(file->node(), out, outSize, count);
    } else if (code == FSCTL_DELETE_REPARSE_POINT) {
        status = deleteReparsePoint(file->node(), readInput(in, inSize));
    }
    if (returned != nullptr) {
        *returned = count;
    }
    return status == ERROR_SUCCESS ? TRUE : failWith(status);
}

}  // extern "C"
