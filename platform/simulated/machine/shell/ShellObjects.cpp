// The shell's two objects that make shortcut files: shell links and internet shortcuts.
#include "simulated/machine/shell/ShellObjects.h"

#include <windows.h>
#include <intshcut.h>
#include <shlobj.h>

#include "simulated/machine/Machine.h"
#include "simulated/machine/files/ProcessPath.h"

namespace simulated {

namespace {

/// An object of either class; an internet shortcut has the locator as well, and a shell link does
/// not.
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
        required("QueryInterface", object) = nullptr;
        return resultCall("QueryInterface", E_NOINTERFACE, [&] { return give(iid, object); });
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
        return sureCall("Release", [&] {
            const ULONG left = --references_;
            if (left == 0) {
                Machine::current().shell.remove(this);
            }
            return left;
        });
    }

    HRESULT SetPath(LPCWSTR path) override {
        return resultCall("IShellLinkW::SetPath", E_INVALIDARG, [&] {
            demand(path != nullptr, static_cast<DWORD>(E_INVALIDARG));
            link_.target = targetPath(path);
        });
    }
    HRESULT SetArguments(LPCWSTR arguments) override {
        return resultCall("IShellLinkW::SetArguments", E_OUTOFMEMORY,
                          [&] { link_.arguments = argument(arguments); });
    }
    HRESULT SetDescription(LPCWSTR text) override {
        return resultCall("IShellLinkW::SetDescription", E_OUTOFMEMORY,
                          [&] { link_.description = argument(text); });
    }
    HRESULT SetIconLocation(LPCWSTR path, int index) override {
        return resultCall("IShellLinkW::SetIconLocation", E_INVALIDARG, [&] {
            link_.icon = &required("IShellLinkW::SetIconLocation", path);
            link_.iconIndex = index;
        });
    }
    HRESULT SetURL(LPCWSTR url, DWORD) override {
        return resultCall("IUniformResourceLocatorW::SetURL", E_INVALIDARG, [&] {
            link_.target = &required("IUniformResourceLocatorW::SetURL", url);
        });
    }

    HRESULT Save(LPCOLESTR fileName, BOOL) override {
        return resultCall("IPersistFile::Save", HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), [&] {
            if (fileName == nullptr) {
                notSupported("IPersistFile::Save", "a file that it chooses itself");
            }
            FileSystem& fileSystem = Machine::current().fileSystem;
            FileSystem::OpenRequest request;
            request.access = GENERIC_WRITE;
            request.disposition = CREATE_ALWAYS;
            const FileSystem::Opened opened = fileSystem.open(processPath(fileName), request);
            const std::string text = shellLinkText(link_);
            opened.file->write(text.data(), text.size());
        });
    }

private:
    void* interfaceOf(REFIID iid) {
        if (iid == IID_IPersistFile || iid == IID_IUnknown) {
            return static_cast<IPersistFile*>(this);
        }
        if (iid == IID_IShellLinkW) {
            return static_cast<IShellLinkW*>(this);
        }
        if (iid == IID_IUniformResourceLocatorW && link_.internet) {
            return static_cast<IUniformResourceLocatorW*>(this);
        }
        return nullptr;
    }

    /// Returns the full path of a target, which may be in quotes. Windows looks a relative one up
    /// in the directories for programs.
    static std::u16string targetPath(std::u16string_view given) {
        if (given.size() >= 2 && given.starts_with(u'"') && given.ends_with(u'"')) {
            given = given.substr(1, given.size() - 2);
        }
        demand(given.find(u'"') == given.npos, static_cast<DWORD>(E_INVALIDARG));
        const std::u16string inRoot = fullPath(given, u"C:\\");
        if (inRoot != fullPath(given, u"D:\\x")) {
            notSupported("IShellLinkW::SetPath", "the relative path " + toUtf8(given));
        }
        return inRoot;
    }

    ShellLink link_;
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
