// Functions that an older Windows may lack, called without linking to them.
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

/// A library of the system directory, loaded for as long as the object lives.
class Dll {
public:
    /// Loads `name` from the system directory alone, whatever the search path says. Throws SysError
    /// when it can't be loaded.
    explicit Dll(const tstring& name);

    /// A further reference to the library. Throws SysError.
    Dll(const Dll& other);
    Dll& operator=(const Dll&) = delete;

    const tstring& path() const { return path_; }
    HMODULE handle() const { return handle_.get(); }

private:
    tstring path_;
    LoadedLibrary handle_;
};

namespace dll_detail {

/// "<function>() function is not available in <path>", thrown as std::runtime_error.
[[noreturn]] void throwNotAvailable(const char* function, const tstring& path,
                                    const SourceLocation& where);

}  // namespace dll_detail

/// A function of a library, as a pointer of type F, which need not be there.
template <class F>
class DllFunction {
public:
    /// Binds the function; one that the library doesn't export is no failure. `name` is a literal
    /// and outlives the object. Throws SysError when the library can't be held.
    DllFunction(const Dll& dll, const char* name)
        : dll_(dll), address_(GetProcAddress(dll_.handle(), name)), name_(name) {}

    bool isAvailable() const { return address_ != nullptr; }

    /// The function, which may be called through this. Throws std::runtime_error when the library
    /// doesn't export it.
    operator F() const {
        if (address_ == nullptr) {
            dll_detail::throwNotAvailable(name_, dll_.path(), __PRETTY_FUNCTION__);
        }
        // Through void*: the compiler knows no kinship between the two function types.
        return reinterpret_cast<F>(reinterpret_cast<void*>(address_));
    }

private:
    Dll dll_;
    FARPROC address_;
    const char* name_;
};
