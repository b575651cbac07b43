// Version resources of files.
#include <windows.h>

#include <algorithm>
#include <cstring>

#include "simulated/machine/Machine.h"
#include "simulated/machine/ProcessPath.h"
#include "simulated/machine/VersionBlock.h"

using namespace simulated;

namespace {

/// The version resource of a file, or the status that reading it fails with.
struct FileVersion {
    DWORD status;
    const std::string* block;
};

FileVersion fileVersion(LPCWSTR path) {
    const Volumes::Place place = Machine::current().volumes.find(processPath(path), true);
    if (place.status != ERROR_SUCCESS) {
        return {place.status, nullptr};
    }
    if (place.node->isDirectory) {
        return {ERROR_ACCESS_DENIED, nullptr};
    }
    const std::string& block = place.node->version;
    if (block.empty()) {
        return {ERROR_RESOURCE_TYPE_NOT_FOUND, nullptr};
    }
    return {block.size() < kVersionHeadSize ? DWORD{ERROR_RESOURCE_DATA_NOT_FOUND} : ERROR_SUCCESS,
            &block};
}

}  // namespace

extern "C" {

DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR path, LPDWORD zeroed) {
    Call call("GetFileVersionInfoSizeW");
    if (zeroed != nullptr) {
        *zeroed = 0;
    }
    if (call.fails()) {
        return static_cast<DWORD>(failWith(call.status(ERROR_RESOURCE_TYPE_NOT_FOUND)));
    }
    const FileVersion version = fileVersion(path);
    if (version.status != ERROR_SUCCESS) {
        return static_cast<DWORD>(failWith(version.status));
    }
    return static_cast<DWORD>(version.block->size());
}

BOOL WINAPI GetFileVersionInfoW(LPCWSTR path, DWORD, DWORD size, LPVOID block) {
    Call call("GetFileVersionInfoW");
    if (call.fails()) {
        return failWith(call.status(ERROR_RESOURCE_TYPE_NOT_FOUND));
    }
    if (block == nullptr) {
        return failWith(ERROR_INVALID_DATA);
    }
    const FileVersion version = fileVersion(path);
    if (version.status != ERROR_SUCCESS) {
        return failWith(version.status);
    }
    const auto copied = static_cast<DWORD>(version.block->copy(static_cast<char*>(block), size));
    // Whatever length the resource claims, the block tells no more than is there.
    WORD length = 0;
    if (copied >= sizeof(length)) {
        std::memcpy(&length, block, sizeof(length));
        length = static_cast<WORD>(std::min<DWORD>(length, copied));
        std::memcpy(block, &length, sizeof(length));
    }
    return TRUE;
}

BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* value, PUINT size) {
    Call call("VerQueryValueW");
    if (call.fails()) {
        return failWith(call.status(ERROR_RESOURCE_TYPE_NOT_FOUND));
    }
    // The block tells its own length, which reaches no further than the caller's buffer.
    WORD length = 0;
    std::memcpy(&length, block, sizeof(length));
    const VersionValue found = versionValue({static_cast<const char*>(block), length});
    const bool isRoot = argument(subBlock).empty() || argument(subBlock) == u"\\";
    if (found.data == nullptr || !isRoot) {
        return failWith(ERROR_RESOURCE_TYPE_NOT_FOUND);
    }
    *value = const_cast<char*>(found.data);
    if (size != nullptr) {
        *size = static_cast<UINT>(found.size);
    }
    return TRUE;
}

}  // extern "C"
