// The shell's two objects that make shortcut files: shell links and internet shortcuts.
#include <windows.h>
#include <intshcut.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "simulated/machine/Com.h"
#include "simulated/machine/Machine.h"

namespace simulated {

namespace {

/// Copies a text as far as it fits, always with a NUL.
HRESULT giveText(const std::u16string& text, LPWSTR buffer, int size) {
    if (buffer == nullptr || size <= 0) {
        return E_INVALIDARG;
    }
    const std::size_t kept = std::min<std::size_t>(text.size(), static_cast<std::size_t>(size) - 1);
    std::copy_n(text.begin(), kept, buffer);
    buffer[kept] = u'\0';
    return S_OK;
}

/// The one object behind both classes; an internet shortcut has the locator as well, and a shell
/// link has not.
class ShortcutObject final : public IShellLinkW,
                             public IPersistFile,
                             public IUniformResourceLocatorW,
                             public ComObject {
public:
    explicit ShortcutObject(bool internet) { link_.internet = internet; }

    std::string description() const override {
        return (link_.internet ? "internet shortcut to " : "shell link to ") + toUtf8(link_.target);
    }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        Call call("QueryInterface");
        if (object == nullptr) {
            return E_POINTER;
        }
        *object = nullptr;
        if (call.fails()) {
            return failedResult(call, E_NOINTERFACE);
        }
        return give(iid, object);
    }

    /// QueryInterface without being a call.
    HRESULT give(REFIID iid, void** object) {
        *object = interfaceOf(iid);
        if (*object == nullptr) {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }

    ULONG AddRef() override { return ++references_; }

    ULONG Release() override {
        Call call("Release");
        const ULONG left = --references_;
        if (left == 0) {
            Machine::current().shell.remove(this);
        }
        return left;
    }

    HRESULT SetPath(LPCWSTR path) override {
        return set("IShellLinkW::SetPath", link_.target, path);
    }
    HRESULT SetArguments(LPCWSTR arguments) override {
        return set("IShellLinkW::SetArguments", link_.arguments, arguments);
    }
    HRESULT SetDescription(LPCWSTR text) override {
        return set("IShellLinkW::SetDescription", link_.description, text);
    }
    HRESULT SetIconLocation(LPCWSTR path, int index) override {
        const HRESULT result = set("IShellLinkW::SetIconLocation", link_.icon, path);
        if (SUCCEEDED(result)) {
            link_.iconIndex = index;
        }
        return result;
    }

    HRESULT GetPath(LPWSTR path, int size, WIN32_FIND_DATAW*, DWORD) override {
        return get("IShellLinkW::GetPath", link_.target, path, size);
    }
    HRESULT GetArguments(LPWSTR arguments, int size) override {
        return get("IShellLinkW::GetArguments", link_.arguments, arguments, size);
    }
    HRESULT GetDescription(LPWSTR text, int size) override {
        return get("IShellLinkW::GetDescription", link_.description, text, size);
    }
    HRESULT GetIconLocation(LPWSTR path, int size, int* index) override {
        *index = link_.iconIndex;
        return get("IShellLinkW::GetIconLocation", link_.icon, path, size);
    }

    HRESULT SetURL(LPCWSTR url, DWORD) override {
        return set("IUniformResourceLocatorW::SetURL", link_.target, url);
    }
    HRESULT GetURL(LPWSTR* url) override {
        Call call("IUniformResourceLocatorW::GetURL");
        *url = nullptr;
        if (call.fails()) {
            return failedResult(call, E_OUTOFMEMORY);
        }
        if (link_.target.empty()) {
            return S_FALSE;
        }
        const std::size_t bytes = (link_.target.size() + 1) * sizeof(WCHAR);
        *url = static_cast<LPWSTR>(std::malloc(bytes));
        std::memcpy(*url, link_.target.c_str(), bytes);
        return S_OK;
    }

    HRESULT Load(LPCOLESTR fileName, DWORD) override {
        Call call("IPersistFile::Load");
        if (call.fails()) {
            return failedResult(call, HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
        }
        if (fileName == nullptr) {
            return E_INVALIDARG;
        }
        const Machine& machine = Machine::current();
        if (!machine.volumes.content(fileName)) {
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        }
        const std::optional<ShellLink> found = machine.shell.link(fileName);
        if (!found || found->internet != link_.internet) {
            return E_FAIL;
        }
        link_ = *found;
        fileName_ = fileName;
        return S_OK;
    }

    HRESULT Save(LPCOLESTR fileName, BOOL remember) override {
        Call call("IPersistFile::Save");
        if (call.fails()) {
            return failedResult(call, HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
        }
        const std::u16string path = fileName == nullptr ? fileName_ : fileName;
        if (path.empty()) {
            return E_FAIL;
        }
        Volumes& volumes = Machine::current().volumes;
        Volumes::OpenRequest request;
        request.access = GENERIC_WRITE;
        request.disposition = CREATE_ALWAYS;
        request.flags = FILE_ATTRIBUTE_NORMAL;
        const Volumes::Opened opened =
            volumes.open(parsePath(path, volumes.currentDirectory()), request);
        if (opened.status != ERROR_SUCCESS) {
            return HRESULT_FROM_WIN32(opened.status);
        }
        const std::string text = shellLinkText(link_);
        opened.file->write(text.data(), text.size());
        if (fileName != nullptr && remember) {
            fileName_ = path;
        }
        return S_OK;
    }

private:
    void* interfaceOf(REFIID iid) {
        const bool isShellLink =
            !link_.internet || Machine::current().shell.internetShortcutIsShellLink;
        if (iid == IID_IPersistFile || iid == IID_IUnknown) {
            return static_cast<IPersistFile*>(this);
        }
        if (iid == IID_IShellLinkW && isShellLink) {
            return static_cast<IShellLinkW*>(this);
        }
        if (iid == IID_IUniformResourceLocatorW && link_.internet) {
            return static_cast<IUniformResourceLocatorW*>(this);
        }
        return nullptr;
    }

    static HRESULT set(const char* function, std::u16string& member, LPCWSTR value) {
        Call call(function);
        if (call.fails()) {
            return failedResult(call, E_INVALIDARG);
        }
        if (value == nullptr) {
            return E_INVALIDARG;
        }
        member = value;
        return S_OK;
    }

    static HRESULT get(const char* function, const std::u16string& member, LPWSTR buffer,
                       int size) {
        Call call(function);
        return call.fails() ? failedResult(call, E_FAIL) : giveText(member, buffer, size);
    }

    ShellLink link_;
    std::u16string fileName_;
    ULONG references_ = 0;
};

}  // namespace

HRESULT createShellObject(REFCLSID clsid, REFIID iid, void** object) {
    if (clsid != CLSID_ShellLink && clsid != CLSID_InternetShortcut) {
        return REGDB_E_CLASSNOTREG;
    }
    auto made = std::make_unique<ShortcutObject>(clsid == CLSID_InternetShortcut);
    const HRESULT result = made->give(iid, object);
    if (SUCCEEDED(result)) {
        Machine::current().shell.add(std::move(made));
    }
    return result;
}

}  // namespace simulated

extern "C" {

const CLSID CLSID_ShellLink = {0x00021401, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IShellLinkW = {0x000214F9, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IPersistFile = {0x0000010B, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const CLSID CLSID_InternetShortcut = {
    0xFBF23B40, 0xE3F0, 0x101B, {0x84, 0x88, 0x00, 0xAA, 0x00, 0x3E, 0x56, 0xF8}};
const IID IID_IUniformResourceLocatorW = {
    0xCABB0DA0, 0xDA57, 0x11CF, {0x99, 0x74, 0x00, 0x20, 0xAF, 0xD7, 0x97, 0x62}};

}  // extern "C"
