#include "windows/common/Dll.h"

#include "common/windows/WinErrorHandling.h"
#include "windows/common/Paths.h"
#include "windows/common/SysInfo.h"

namespace {

LoadedLibrary loadLibrary(const tstring& path) {
    LoadedLibrary library(LoadLibraryW(path.c_str()));
    if (!library) {
        raise("`anonymous-namespace'::loadLibrary",
              FailedCall(LoadLibraryW) << _T("LoadLibraryW(") << path << _T(") failed"));
    }
    return library;
}

LoadedLibrary referenceTo(const tstring& path) {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(0, path.c_str(), &module)) {
        raise("Dll::Dll", FailedCall(GetModuleHandleExW)
                              << _T("GetModuleHandleExW(") << path << _T(") failed"));
    }
    return LoadedLibrary(module);
}

}  // namespace

Dll::Dll(const tstring& name)
    : path_(FileUtils::combinePath(SysInfo::getSystemDir(), name)), handle_(loadLibrary(path_)) {}

Dll::Dll(const Dll& other) : path_(other.path_), handle_(referenceTo(path_)) {}

namespace dll_detail {

void throwNotAvailable(const char* function, const tstring& path, const SourceLocation& where) {
    raise<std::runtime_error>(where,
                              Text() << function << _T("() function is not available in ") << path);
}

}  // namespace dll_detail
