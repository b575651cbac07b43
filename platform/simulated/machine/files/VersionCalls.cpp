// Version resources of files.
#include <windows.h>

#include <algorithm>
#include <cstring>

#include "simulated/machine/Machine.h"
#include "simulated/machine/files/ProcessPath.h"
#include "simulated/machine/files/VersionBlock.h"

using namespace simulated;

namespace {

/// The version resource of a file, which is opened for reading as any other file is.
std::string fileVersion(LPCWSTR path) {
    FileSystem::OpenRequest request;
    request.access = GENERIC_READ;
    request.share = FILE_SHARE_READ | FILE_SHARE_DELETE;
    request.disposition = OPEN_EXISTING;
    const FileSystem::Opened opened =
        Machine::current().fileSystem.open(processPath(path), request);
    std::string block = opened.file->node().version;
    // A file without a version has no resources at all here.
    demand(block.size() >= kVersionHeadSize, ERROR_RESOURCE_DATA_NOT_FOUND);
    return block;
}

}  // namespace

extern "C" {

DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR path, LPDWORD zeroed) {
    return call("GetFileVersionInfoSizeW", ERROR_RESOURCE_TYPE_NOT_FOUND, [&] {
        if (zeroed != nullptr) {
            *zeroed = 0;
        }
        return static_cast<DWORD>(fileVersion(path).size());
    });
}

BOOL WINAPI GetFileVersionInfoW(LPCWSTR path, DWORD, DWORD size, LPVOID block) {
    return call("GetFileVersionInfoW", ERROR_RESOURCE_TYPE_NOT_FOUND, [&] {
        demand(block != nullptr, ERROR_INVALID_DATA);
        const auto copied =
            static_cast<DWORD>(fileVersion(path).copy(static_cast<char*>(block), size));
        // The length in the block is cut to what was copied.
        WORD length = 0;
        if (copied >= sizeof(length)) {
            std::memcpy(&length, block, sizeof(length));
            length = static_cast<WORD>(std::min<DWORD>(length, copied));
            std::memcpy(block, &length, sizeof(length));
        }
    });
}

BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* value, PUINT size) {
    return call("VerQueryValueW", ERROR_RESOURCE_TYPE_NOT_FOUND, [&] {
        if (argument(subBlock) != u"\\") {
            notSupported("VerQueryValueW", toUtf8(argument(subBlock)));
        }
        requireNonNull("VerQueryValueW", block);
        // The block's own length reaches no further than the caller's buffer.
        WORD length = 0;
        std::memcpy(&length, block, sizeof(length));
        const VersionValue found = versionValue({static_cast<const char*>(block), length});
        demand(found.data != nullptr, ERROR_RESOURCE_TYPE_NOT_FOUND);
        required("VerQueryValueW", value) = const_cast<char*>(found.data);
        required("VerQueryValueW", size) = static_cast<UINT>(found.size);
    });
}

}  // extern "C"
