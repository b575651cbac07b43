#include "windows/common/Shortcut.h"

#include <intshcut.h>
#include <shlwapi.h>

#include <stdexcept>

#include "common/share/PmtError.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/Paths.h"

namespace {

/// Throws ComError "<call> failed" for a failed call.
void check(HRESULT status, const tstring& call, const SourceLocation& where) {
    if (FAILED(status)) {
        raise<ComError>(where, (Text() << call << _T(" failed")).str(), status);
    }
}

}  // namespace

tstring Shortcut::create() const {
    if (name.empty() || description.empty() || target.empty() || folder.empty()) {
        raise<std::logic_error>("Shortcut::create", "Shortcut not configured properly");
    }
    const bool isUrl = PathIsURLW(target.c_str()) != FALSE;
    const ComPtr<IShellLinkW> link = isUrl ? createUrl() : createLink();
    tstring extension = isUrl ? _T(".url") : _T(".lnk");
    if (fileType == kAlwaysUrl) {
        extension = _T(".url");
    } else if (fileType == kAlwaysLnk) {
        extension = _T(".lnk");
    }
    check(link.get()->SetIconLocation(icon.c_str(), 0),
          Text() << _T("IShellLink.SetIconLocation(") << icon << _T(")"), "Shortcut::create");
    check(link.get()->SetDescription(description.c_str()),
          Text() << _T("IShellLink.SetDescription(") << description << _T(")"), "Shortcut::create");
    const tstring path = FileUtils::combinePath(folder, name + extension);
    void* file = nullptr;
    check(link.get()->QueryInterface(IID_IPersistFile, &file),
          _T("IUnknown.QueryInterface(IID_IPersistFile)"), "Shortcut::create");
    const ComPtr<IPersistFile> persistFile(static_cast<IPersistFile*>(file));
    check(persistFile.get()->Save(path.c_str(), TRUE),
          Text() << _T("IPersistFilePtr.Save(") << path << _T(")"), "Shortcut::create");
    return path;
}

ComPtr<IShellLinkW> Shortcut::createLink() const {
    void* created = nullptr;
    check(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_ALL, IID_IShellLinkW, &created),
          _T("CoCreateInstance(CLSID_ShellLink, IID_IShellLink)"), "Shortcut::createLink");
    ComPtr<IShellLinkW> link(static_cast<IShellLinkW*>(created));
    check(link.get()->SetPath(target.c_str()),
          Text() << _T("IShellLink.SetPath(") << target << _T(")"), "Shortcut::createLink");
    if (!arguments.empty()) {
        check(link.get()->SetArguments(arguments.c_str()),
              Text() << _T("IShellLink.SetArguments(") << arguments << _T(")"),
              "Shortcut::createLink");
    }
    return link;
}

ComPtr<IShellLinkW> Shortcut::createUrl() const {
    void* created = nullptr;
    check(CoCreateInstance(CLSID_InternetShortcut, nullptr, CLSCTX_ALL,
                           IID_IUniformResourceLocatorW, &created),
          _T("CoCreateInstance(CLSID_InternetShortcut, IID_IUniformResourceLocator)"),
          "Shortcut::createUrl");
    const ComPtr<IUniformResourceLocatorW> url(static_cast<IUniformResourceLocatorW*>(created));
    check(url.get()->SetURL(target.c_str(), 0),
          Text() << _T("IUniformResourceLocator.SetURL(") << target << _T(", 0)"),
          "Shortcut::createUrl");
    void* link = nullptr;
    check(url.get()->QueryInterface(IID_IShellLinkW, &link),
          _T("IUniformResourceLocator.QueryInterface(IID_IShellLink)"), "Shortcut::createUrl");
    return ComPtr<IShellLinkW>(static_cast<IShellLinkW*>(link));
}
