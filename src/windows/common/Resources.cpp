#include "windows/common/Resources.h"

#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/windows/WinErrorHandling.h"

namespace {

/// A string table consists of blocks of sixteen strings; each string is preceded by its length in
/// characters (Microsoft, "STRINGTABLE resource").
constexpr UINT kStringsInBlock = 16;

UINT idOf(LPCWSTR name) {
    return static_cast<UINT>(reinterpret_cast<ULONG_PTR>(name));
}

LPCWSTR nameOf(UINT id) {
    return reinterpret_cast<LPCWSTR>(static_cast<ULONG_PTR>(id & 0xFFFF));
}

/// Returns "#<number>" for an identifier, otherwise the name itself.
tstring textOf(LPCWSTR name) {
    if ((reinterpret_cast<ULONG_PTR>(name) >> 16) == 0) {
        return Text() << _T("#") << idOf(name);
    }
    return name;
}

}  // namespace

Resource::Resource(UINT id, HMODULE module)
    : Resource(nameOf(id), reinterpret_cast<LPCWSTR>(RT_STRING), module) {}

Resource::Resource(LPCWSTR name, LPCWSTR type, HMODULE module)
    : nameText_(textOf(name)), name_(name), typeText_(textOf(type)), type_(type), module_(module) {}

const void* Resource::getPtr(DWORD& size) const {
    const auto fail = [&](FailedCall&& call, const TCHAR* what,
                          const SourceLocation& where = "Resource::getPtr") {
        raise(where, call << what << _T(" (name='") << nameText_ << _T("', type='") << typeText_
                          << _T("')"));
    };
    const bool isString = type_ == reinterpret_cast<LPCWSTR>(RT_STRING);
    const LPCWSTR block = isString ? nameOf((idOf(name_) >> 4) + 1) : name_;
    const HRSRC found = FindResourceW(module_, block, type_);
    if (found == nullptr) {
        fail(FailedCall(FindResourceW), _T("cannot find resource"));
    }
    const HGLOBAL loaded = LoadResource(module_, found);
    const void* data = loaded == nullptr ? nullptr : LockResource(loaded);
    if (data == nullptr) {
        fail(FailedCall(LoadResource), _T("cannot load resource"));
    }
    if (!isString) {
        size = SizeofResource(module_, found);
        return data;
    }
    const auto* string = static_cast<const WORD*>(data);
    for (UINT skipped = idOf(name_) % kStringsInBlock; skipped > 0; --skipped) {
        string += 1 + *string;
    }
    size = *string * sizeof(WCHAR);
    return string + 1;
}

tstring Resource::toString() const {
    DWORD size = 0;
    const void* data = getPtr(size);
    return tstring(static_cast<const TCHAR*>(data), size / sizeof(TCHAR));
}
