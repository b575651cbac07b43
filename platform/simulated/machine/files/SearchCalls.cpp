// Searches in directories.
#include <windows.h>
#include <shlwapi.h>

#include "simulated/machine/Machine.h"
#include "simulated/machine/files/ProcessPath.h"

using namespace simulated;

namespace {

WIN32_FIND_DATAW answer(const FileNode& node, std::u16string_view name) {
    WIN32_FIND_DATAW data = {};
    data.dwFileAttributes = node.allAttributes();
    name.copy(data.cFileName, MAX_PATH - 1);
    return data;
}

/// What a directory holds, in the order of the names. Every directory but a drive's root also holds
/// "." and "..".
std::vector<WIN32_FIND_DATAW> search(const FileNode& directory) {
    std::vector<WIN32_FIND_DATAW> found;
    if (directory.parent != nullptr) {
        found = {answer(directory, u"."), answer(directory, u"..")};
    }
    for (const auto& [name, node] : directory.entries) {
        found.push_back(answer(*node, node->name));
    }
    return found;
}

/// Returns the directory of a pattern that matches everything in it.
std::shared_ptr<FileNode> searchedDirectory(std::u16string_view pattern) {
    if (!pattern.ends_with(u"\\*") && !pattern.ends_with(u"/*")) {
        notSupported("FindFirstFileW", "the pattern " + toUtf8(pattern));
    }
    pattern.remove_suffix(1);
    FilePath directory = processPath(std::u16string(pattern).c_str());
    directory.endsInSeparator = false;
    const FileSystem::Place place = Machine::current().fileSystem.find(directory, true);
    check(place.status == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : place.status);
    demand(place.node->isDirectory, ERROR_DIRECTORY);
    demand(!place.node->readDenied, ERROR_ACCESS_DENIED);
    demand(!place.node->isUsedAgainst(kSearchUse.access, kSearchUse.share),
           ERROR_SHARING_VIOLATION);
    return place.node;
}

OpenSearch& openSearch(HANDLE handle) {
    const auto search = Machine::current().handles.find<OpenSearch>(handle);
    demand(search != nullptr, ERROR_INVALID_HANDLE);
    return *search;
}

}  // namespace

extern "C" {

HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data) {
    return call("FindFirstFileW", ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE, [&] {
        const std::shared_ptr<FileNode> directory = searchedDirectory(argument(pattern));
        auto search = std::make_shared<OpenSearch>(directory, ::search(*directory));
        const WIN32_FIND_DATAW* const first = search->next();
        demand(first != nullptr, ERROR_FILE_NOT_FOUND);
        required("FindFirstFileW", data) = *first;
        return Machine::current().handles.add(std::move(search));
    });
}

BOOL WINAPI FindNextFileW(HANDLE handle, LPWIN32_FIND_DATAW data) {
    return call("FindNextFileW", ERROR_ACCESS_DENIED, [&] {
        const WIN32_FIND_DATAW* const next = openSearch(handle).next();
        demand(next != nullptr, ERROR_NO_MORE_FILES);
        required("FindNextFileW", data) = *next;
    });
}

BOOL WINAPI FindClose(HANDLE handle) {
    return call("FindClose", ERROR_INVALID_HANDLE, [&] {
        openSearch(handle);
        Machine::current().handles.close(handle);
    });
}

BOOL WINAPI PathIsDirectoryEmptyW(LPCWSTR path) {
    return call("PathIsDirectoryEmptyW", ERROR_ACCESS_DENIED, [&] {
        const FileSystem::Place place =
            Machine::current().fileSystem.existing(processPath(path), true);
        demand(place.node->isDirectory && place.node->entries.empty() && !place.node->readDenied,
               ERROR_FILE_NOT_FOUND);
    });
}

}  // extern "C"
