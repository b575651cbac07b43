// The shell's standard folders.
#include <windows.h>
#include <shlobj.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

constexpr int kFolderMask = 0xFF;

/// Makes a directory with those above it.
void makeDirectories(FileSystem& fileSystem, const FilePath& path) {
    FilePath piece = path;
    piece.names.clear();
    for (const std::u16string& name : path.names) {
        piece.names.push_back(name);
        if (fileSystem.find(piece, false).status != ERROR_SUCCESS) {
            fileSystem.createDirectory(piece);
        }
    }
}

}  // namespace

extern "C" {

HRESULT WINAPI SHGetFolderPathW(HWND, int folder, HANDLE, DWORD flags, LPWSTR path) {
    required("SHGetFolderPathW", path) = u'\0';
    return resultCall("SHGetFolderPathW", E_FAIL, [&] {
        if (flags != SHGFP_TYPE_CURRENT) {
            notSupported("SHGetFolderPathW", "default folders");
        }
        Machine& machine = Machine::current();
        const std::optional<std::u16string> found = machine.shell.folder(folder & kFolderMask);
        if (!found) {
            notSupported("SHGetFolderPathW", "the folder " + std::to_string(folder));
        }
        if ((folder & CSIDL_FLAG_CREATE) != 0) {
            makeDirectories(machine.fileSystem, parsePath(*found, u"C:\\"));
        } else {
            demand(machine.volumes.isDirectory(*found), static_cast<DWORD>(E_FAIL));
        }
        copyOut(*found, path, MAX_PATH);
    });
}

}  // extern "C"
