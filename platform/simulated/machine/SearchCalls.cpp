// Searches in directories.
#include <windows.h>
#include <shlwapi.h>

#include <algorithm>

#include "simulated/machine/Machine.h"
#include "simulated/machine/ProcessPath.h"

using namespace simulated;

namespace {

WIN32_FIND_DATAW answer(const FileNode& node, std::u16string_view name) {
    WIN32_FIND_DATAW data = {};
    data.dwFileAttributes = node.allAttributes();
    data.nFileSizeHigh = static_cast<DWORD>(node.content.size() >> 32);
    data.nFileSizeLow = static_cast<DWORD>(node.content.size());
    data.dwReserved0 = node.reparseTag();
    name.copy(data.cFileName, MAX_PATH - 1);
    if (name == node.name) {
        node.shortName.copy(data.cAlternateFileName, std::size(data.cAlternateFileName) - 1);
    }
    return data;
}

/// What a directory holds that fits a pattern, in the order of the names. Every directory but a
/// drive's root also holds "." and "..".
std::vector<WIN32_FIND_DATAW> search(const FileNode& directory, std::u16string_view pattern) {
    std::vector<WIN32_FIND_DATAW> found;
    if (directory.parent != nullptr) {
        for (const std::u16string_view dots : {u".", u".."}) {
            if (fitsPattern(dots, pattern)) {
                found.push_back(answer(directory, dots));
            }
        }
    }
    for (const auto& [name, node] : directory.entries) {
        if (fitsPattern(name, pattern) ||
            (!node->shortName.empty() && fitsPattern(node->shortName, pattern))) {
            found.push_back(answer(*node, node->name));
        }
    }
    return found;
}

}  // namespace

extern "C" {

HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data) {
    Call call("FindFirstFileW");
    const auto fail = [](DWORD status) {
        SetLastError(status);
        return INVALID_HANDLE_VALUE;
    };
    if (call.fails()) {
        return fail(call.status(ERROR_ACCESS_DENIED));
    }
    Machine& machine = Machine::current();
    FilePath directory = processPath(pattern, true);
    if (directory.status != ERROR_SUCCESS) {
        return fail(directory.status);
    }
    if (directory.names.empty() || directory.endsInSeparator) {
        return fail(ERROR_FILE_NOT_FOUND);
    }
    const std::u16string last = directory.names.back();
    directory.names.pop_back();
    directory.isDevice = false;
    const Volumes::Place place = machine.volumes.find(directory, true);
    if (place.status != ERROR_SUCCESS) {
        return fail(place.status == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : place.status);
    }
    if (!place.node->isDirectory) {
        return fail(ERROR_DIRECTORY);
    }
    if (place.node->readDenied) {
        return fail(ERROR_ACCESS_DENIED);
    }
    auto search =
        std::make_shared<OpenSearch>(directory.text() + u"\\" + last, ::search(*place.node, last));
    const WIN32_FIND_DATAW* const first = search->next();
    if (first == nullptr) {
        return fail(ERROR_FILE_NOT_FOUND);
    }
    *data = *first;
    return machine.handles.add(std::move(search));
}

BOOL WINAPI FindNextFileW(HANDLE handle, LPWIN32_FIND_DATAW data) {
    Call call("FindNextFileW");
    if (call.fails()) {
        return failWith(call.status(ERROR_ACCESS_DENIED));
    }
    const auto search = Machine::current().handles.find<OpenSearch>(handle);
    if (search == nullptr) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    const WIN32_FIND_DATAW* const next = search->next();
    if (next == nullptr) {
        return failWith(ERROR_NO_MORE_FILES);
    }
    *data = *next;
    return TRUE;
}

BOOL WINAPI FindClose(HANDLE handle) {
    Call call("FindClose");
    Handles& handles = Machine::current().handles;
    if (call.fails()) {
        return failWith(call.status(ERROR_INVALID_HANDLE));
    }
    if (handles.find<OpenSearch>(handle) == nullptr) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    handles.close(handle);
    return TRUE;
}

BOOL WINAPI PathIsDirectoryEmptyW(LPCWSTR path) {
    Call call("PathIsDirectoryEmptyW");
    if (call.fails()) {
        return FALSE;
    }
    const Volumes::Place place = Machine::current().volumes.find(processPath(path), true);
    return place.node != nullptr && place.node->isDirectory && !place.node->readDenied &&
           place.node->entries.empty();
}

}  // extern "C"
