#include "Inspection.h"

#include <objbase.h>  // before what needs it

#include <intshcut.h>
#include <sddl.h>
#include <shlobj.h>

#include <vector>

namespace {

/// Makes an object of a class from a file.
template <class Interface>
Interface* load(REFCLSID clsid, REFIID iid, const tstring& path) {
    IPersistFile* file = nullptr;
    void* object = nullptr;
    CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IPersistFile, reinterpret_cast<void**>(&file));
    file->Load(path.c_str(), STGM_READ);
    file->QueryInterface(iid, &object);
    file->Release();
    return static_cast<Interface*>(object);
}

tstring withoutNtPrefix(const tstring& path) {
    const std::size_t prefix = path.find(L"\\??\\");
    return prefix == tstring::npos ? path : path.substr(prefix + 4);
}

}  // namespace

bool isWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

void setVariable(const TCHAR* name, const TCHAR* value) {
    SetEnvironmentVariableW(name, value);
}

SavedLink savedLink(const tstring& path) {
    auto* const link = load<IShellLinkW>(CLSID_ShellLink, IID_IShellLinkW, path);
    SavedLink saved;
    TCHAR text[MAX_PATH] = {};
    link->GetPath(text, MAX_PATH, nullptr, SLGP_RAWPATH);
    saved.target = text;
    link->GetArguments(text, MAX_PATH);
    saved.arguments = text;
    link->GetDescription(text, MAX_PATH);
    saved.description = text;
    link->GetIconLocation(text, MAX_PATH, &saved.iconIndex);
    saved.icon = text;
    link->Release();
    return saved;
}

tstring savedUrl(const tstring& path) {
    auto* const url =
        load<IUniformResourceLocatorW>(CLSID_InternetShortcut, IID_IUniformResourceLocatorW, path);
    LPWSTR text = nullptr;
    url->GetURL(&text);
    const tstring saved = text == nullptr ? L"" : text;
    CoTaskMemFree(text);
    url->Release();
    return saved;
}

tstring accessList(const tstring& path) {
    std::vector<BYTE> descriptor(4096);
    DWORD size = 0;
    LPWSTR text = nullptr;
    GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(),
                     static_cast<DWORD>(descriptor.size()), &size);
    ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor.data(), SDDL_REVISION_1,
                                                         DACL_SECURITY_INFORMATION, &text, nullptr);
    const tstring list = text == nullptr ? L"" : text;
    LocalFree(text);
    return list;
}

std::pair<tstring, tstring> lastDelayedMove() {
    std::vector<TCHAR> value(32768);
    auto size = static_cast<DWORD>(value.size() * sizeof(TCHAR));
    HKEY key = nullptr;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager", 0,
                  KEY_QUERY_VALUE, &key);
    RegQueryValueExW(key, L"PendingFileRenameOperations", nullptr, nullptr,
                     reinterpret_cast<BYTE*>(value.data()), &size);
    RegCloseKey(key);
    std::pair<tstring, tstring> last;
    for (const TCHAR* at = value.data(); *at != L'\0';) {
        last.first = at;
        at += last.first.size() + 1;
        last.second = at;
        at += last.second.size() + 1;
    }
    return {withoutNtPrefix(last.first), withoutNtPrefix(last.second)};
}
