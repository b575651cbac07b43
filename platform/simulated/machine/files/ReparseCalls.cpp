// Reading, setting and deleting the reparse point of an open file or directory.
#include <windows.h>
#include <winioctl.h>

#include <cstring>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

constexpr std::size_t kHeadSize = 8;  // tag, length of the data, a reserved number

DWORD tagOf(std::string_view buffer) {
    DWORD tag = 0;
    std::memcpy(&tag, buffer.data(), sizeof(tag));
    return tag;
}

WORD dataLengthOf(std::string_view buffer) {
    WORD length = 0;
    std::memcpy(&length, buffer.data() + sizeof(DWORD), sizeof(length));
    return length;
}

void setReparsePoint(FileNode& node, std::string_view buffer) {
    demand(buffer.size() >= kHeadSize && buffer.size() <= MAXIMUM_REPARSE_DATA_BUFFER_SIZE &&
               dataLengthOf(buffer) + kHeadSize == buffer.size(),
           ERROR_INVALID_REPARSE_DATA);
    if (tagOf(buffer) != IO_REPARSE_TAG_MOUNT_POINT) {
        notSupported("DeviceIoControl", "setting reparse points that are no mount points");
    }
    demand(isGoodMountPoint(buffer), ERROR_INVALID_REPARSE_DATA);
    demand(node.reparse.empty() || node.reparseTag() == IO_REPARSE_TAG_MOUNT_POINT,
           ERROR_REPARSE_TAG_MISMATCH);
    demand(node.isDirectory, ERROR_DIRECTORY);
    demand(node.entries.empty(), ERROR_DIR_NOT_EMPTY);
    node.reparse = buffer;
}

DWORD getReparsePoint(const FileNode& node, void* out, DWORD size) {
    demand(!node.reparse.empty(), ERROR_NOT_A_REPARSE_POINT);
    demand(size >= kHeadSize, ERROR_INSUFFICIENT_BUFFER);
    const std::size_t copied = node.reparse.copy(static_cast<char*>(out), size);
    demand(copied == node.reparse.size(), ERROR_MORE_DATA);
    return static_cast<DWORD>(copied);
}

}  // namespace

extern "C" {

BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED) {
    return call("DeviceIoControl", ERROR_NOT_SUPPORTED, [&] {
        const auto file = Machine::current().handles.find<OpenFile>(device);
        demand(file != nullptr, ERROR_INVALID_HANDLE);
        required("DeviceIoControl", returned) = 0;
        requireNonNull("DeviceIoControl", code == FSCTL_SET_REPARSE_POINT ? in : out);
        if (code == FSCTL_SET_REPARSE_POINT) {
            demand(file->mayWrite(), ERROR_ACCESS_DENIED);
            setReparsePoint(file->node(), {static_cast<const char*>(in), inSize});
        } else if (code == FSCTL_GET_REPARSE_POINT) {
            *returned = getReparsePoint(file->node(), out, outSize);
        } else {
            notSupported("DeviceIoControl", "the code " + std::to_string(code));
        }
    });
}

}  // extern "C"
