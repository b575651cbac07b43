// Calls functions that older versions of Windows don't have, without linking to them.
//
//     const DllFunction<LONG(WINAPI*)(HKEY, LPCWSTR)> deleteTree(Dll(_T("advapi32")),
//                                                                "RegDeleteTreeW");
//     if (deleteTree.isAvailable()) {
//         status = deleteTree(key, nullptr);
//     }
#pragma once

#include "common/share/PmtError.h"
#include "common/share/tstring.h"
#include "common/windows/WinAutoHandle.h"

/// A library of the system directory, loaded as long as the object exists.
class Dll {
public:
    /// Loads `name` from the system directory only, regardless of the search path. Throws SysError.
    explicit Dll(const tstring& name);

    /// Adds a reference to the library. Throws SysError.
    Dll(const Dll& other);
    Dll& operator=(const Dll&) = delete;

    const tstring& path() const { return path_; }
    HMODULE handle() const { return handle_.get(); }

private:
    tstring path_;
    LoadedLibrary handle_;
};

namespace dll_detail {

/// Throws std::runtime_error "<function>() function is not available in <path>".
[[noreturn]] void throwNotAvailable(const char* function, const tstring& path,
                                    const SourceLocation& where);

}  // namespace dll_detail

/// A function of a library, as a pointer of type F. The library need not export it.
template <class F>
class DllFunction {
public:
    /// Looks the function up; it is no failure if the library doesn't export it. `name` is a
    /// literal that outlives the object. Throws SysError when the library can't be referenced.
    DllFunction(const Dll& dll, const char* name)
        : dll_(dll), address_(GetProcAddress(dll_.handle(), name)), name_(name) {}

    bool isAvailable() const { return address_ != nullptr; }

    /// Returns the function; allows calling it through this object. Throws std::runtime_error if
    /// the library doesn't export it.
    operator F() const {
        if (address_ == nullptr) {
            dll_detail::throwNotAvailable(name_, dll_.path(), __PRETTY_FUNCTION__);
        }
        // Through void*: the compiler warns of a cast between unrelated function types.
        return reinterpret_cast<F>(reinterpret_cast<void*>(address_));
    }

private:
    Dll dll_;
    FARPROC address_;
    const char* name_;
};
