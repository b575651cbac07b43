// Facts about the running Windows and its standard directories. Returned paths have no trailing
// separator.
#pragma once

#include <cstdint>

#include "common/share/tstring.h"

namespace SysInfo {

/// The Windows versions that the library distinguishes.
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

/// Returns the class of a version number: 5.1 and 5.2 are WindowsXp, 6.0 to 6.3 WindowsVista to
/// Windows81, 10.0 is Windows10; any other above major 5 is Later, any other Unknown.
OsVersion classifyOsVersion(DWORD major, DWORD minor);

/// Returns the class of the running Windows, determined when the library was loaded.
OsVersion osVersion();

/// Returns whether the processor's native architecture is x64, regardless of the process.
bool is64BitOs();

/// Returns whether this is a 32-bit process on a 64-bit system. Throws std::runtime_error.
bool isWow64();

/// Returns the architecture of this process: 64 on a 64-bit system unless the process is a 32-bit
/// one, otherwise 32. Throws std::runtime_error.
std::uint32_t runningBits();

/// Returns the module that contains this code: the library, not the process. Throws SysError.
HMODULE getCurrentModuleHandle();

/// Returns the full path of a module; null means the process's executable. Throws SysError.
tstring getModulePath(HMODULE module);

/// Returns the temporary directory of the account.
tstring getTempDir();

/// Returns the system directory, as the process sees it. Throws SysError or std::runtime_error.
tstring getSystemDir();

/// Returns the 32-bit system directory of a 64-bit system. Throws SysError or std::runtime_error.
tstring getWow64Dir();

/// Returns the Windows directory. Throws SysError or std::runtime_error.
tstring getWindowsDir();

/// Returns a path of the 64-bit system directory that is valid in 32-bit and 64-bit processes.
/// Throws std::runtime_error on a 32-bit system.
tstring getSystem64Dir();

/// Returns the program directory of native programs, regardless of the process. Throws what
/// Registry and SHGetFolderPathAdapter throw.
tstring getProgramFilesDir();

/// Returns a shell folder by its CSIDL; with mode 1 creates it if it doesn't exist. Throws
/// ComError.
tstring SHGetFolderPathAdapter(int folder, int mode = 0);

/// Returns an environment variable, which may be empty, or the fallback if it isn't set.
tstring getEnvVariable(const tstring& name, const tstring& fallback);

}  // namespace SysInfo
