// The shell's standard folders.
#include <windows.h>
#include <shlobj.h>

#include "simulated/machine/Com.h"
#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

constexpr int kFolderMask = 0xFF;

/// Makes a directory with those above it.
DWORD makeDirectories(Volumes& volumes, const FilePath& path) {
    FilePath piece = path;
    piece.names.clear();
    for (const std::u16string& name : path.names) {
        piece.names.push_back(name);
        const DWORD status = volumes.createDirectory(piece);
        if (status != ERROR_SUCCESS && status != ERROR_ALREADY_EXISTS) {
            return status;
        }
    }
    return ERROR_SUCCESS;
}

}  // namespace

std::optional<std::u16string> Shell::folder(int folder) const {
    const auto moved = folders_.find(folder);
    if (moved != folders_.end()) {
        return moved->second;
    }
    const Facts& facts = machine_.facts;
    const std::u16string drive = facts.windowsDirectory.substr(0, 2);
    const std::u16string own = drive + u"\\Program Files";
    const std::u16string x86 = facts.is64BitSystem ? own + u" (x86)" : own;
    switch (folder) {
        case CSIDL_COMMON_PROGRAMS:
            return drive + u"\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs";
        case CSIDL_PROGRAM_FILESX86:
            return x86;
        case CSIDL_PROGRAM_FILES_COMMON:
            return (facts.isWow64() ? x86 : own) + u"\\Common Files";
        case CSIDL_PROGRAM_FILES_COMMONX86:
            return x86 + u"\\Common Files";
        default:
            return std::nullopt;
    }
}

extern "C" {

HRESULT WINAPI SHGetFolderPathW(HWND, int folder, HANDLE, DWORD flags, LPWSTR path) {
    path[0] = u'\0';
    return resultCall("SHGetFolderPathW", E_FAIL, [&] {
        if (flags != SHGFP_TYPE_CURRENT) {
            notServed("SHGetFolderPathW", "default folders");
        }
        Machine& machine = Machine::current();
        const std::optional<std::u16string> found = machine.shell.folder(folder & kFolderMask);
        if (!found) {
            notServed("SHGetFolderPathW", "the folder " + std::to_string(folder));
        }
        if ((folder & CSIDL_FLAG_CREATE) != 0) {
            check(makeDirectories(machine.volumes, parsePath(*found, u"C:\\")));
        } else {
            demand(machine.volumes.isDirectory(*found), static_cast<DWORD>(E_FAIL));
        }
        copyOut(*found, path, MAX_PATH);
    });
}

}  // extern "C"
