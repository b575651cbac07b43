#include "windows/common/Dll.h"

#include "common/share/Text.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/Paths.h"
#include "windows/common/SysInfo.h"

namespace {

HMODULE loadLibrary(const tstring& path) {
    const HMODULE module = LoadLibraryW(path.c_str());
    if (module == nullptr) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(Text() << _T("LoadLibraryW(") << path << _T(") failed"), LoadLibraryW, status),
            "`anonymous-namespace'::loadLibrary");
    }
    return module;
}

}  // namespace

Dll::Dll(const tstring& name)
    : path_(FileUtils::combinePath(SysInfo::getSystemDir(), name)),
      handle_(loadLibrary(path_)),
      owned_(true) {}

Dll::Dll(const Dll& other) : path_(other.path_), handle_(nullptr), owned_(true) {
    if (!GetModuleHandleExW(0, path_.c_str(), &handle_)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(Text() << _T("GetModuleHandleExW(") << path_ << _T(") failed"),
                     GetModuleHandleExW, status),
            "Dll::Dll");
    }
}

Dll::~Dll() {
    if (owned_) {
        FreeLibrary(handle_);
    }
}

namespace dll_detail {

void throwNotAvailable(const char* function, const tstring& path, const SourceLocation& where) {
    throw PmtError<std::runtime_error>(
        std::runtime_error(
            (Text() << function << _T("() function is not available in ") << path).utf8()),
        where);
}

}  // namespace dll_detail
