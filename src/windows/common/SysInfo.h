// Facts of the running Windows and its standard directories. No path that is returned here has a
// trailing separator.
#pragma once

#include <cstdint>

#include "common/share/tstring.h"

namespace SysInfo {

/// The Windows versions that the library tells apart.
enum class OsVersion {
    Unknown = 0,
    WindowsXp = 1,  ///< and Windows Server 2003
    WindowsVista = 2,
    Windows7 = 3,
    Windows8 = 4,
    Windows81 = 5,
    Windows10 = 6,
    Later = 7,
};

/// The class of a version number: 5.1 and 5.2 are WindowsXp, 6.0 to 6.3 WindowsVista to Windows81,
/// 10.0 is Windows10; any other above major 5 is Later, any other Unknown.
OsVersion classifyOsVersion(DWORD major, DWORD minor);

/// The class of the running Windows, worked out when the library was loaded.
OsVersion osVersion();

/// Whether the processor's native architecture is x64, whatever the process is.
bool is64BitOs();

/// Whether this is a 32-bit process on a 64-bit system. Throws std::runtime_error.
bool isWow64();

/// The bits of the code that runs, as products name theirs: 64 on a 64-bit system unless this is a
/// 32-bit process there, else 32. Throws std::runtime_error.
std::uint32_t runningBits();

/// The module that holds this code: the library, not the process. Throws SysError.
HMODULE getCurrentModuleHandle();

/// The full path of a module; null is the process's own. Throws SysError.
tstring getModulePath(HMODULE module);

/// The temporary directory of the account.
tstring getTempDir();

/// The system directory, as the process sees it. Throws SysError or std::runtime_error.
tstring getSystemDir();

/// The 32-bit system directory of a 64-bit system. Throws SysError or std::runtime_error.
tstring getWow64Dir();

/// The Windows directory. Throws SysError or std::runtime_error.
tstring getWindowsDir();

/// A path that leads to the 64-bit system directory from a process of either kind. Throws
/// std::runtime_error on a 32-bit system.
tstring getSystem64Dir();

/// The program directory of native programs, whatever the process is. Throws what Registry and
/// SHGetFolderPathAdapter throw.
tstring getProgramFilesDir();

/// A shell folder by its CSIDL number; with mode 1 it is created when missing. Throws ComError.
tstring SHGetFolderPathAdapter(int folder, int mode = 0);

/// An environment variable, or the fallback when it isn't set. One that is set to nothing is empty.
tstring getEnvVariable(const tstring& name, const tstring& fallback);

}  // namespace SysInfo
