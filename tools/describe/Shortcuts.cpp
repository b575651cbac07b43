#include "describe/Description.h"

#include <objbase.h>
#include <shlobj.h>

#include <array>

namespace {

using Buffer = std::array<wchar_t, 4096>;

/// The texts of a shortcut as they are read, each with a buffer of its own.
struct Texts {
    Buffer target = {}, arguments = {}, description = {}, icon = {};
    int iconIndex = 0;
};

void readWebShortcut(const std::wstring& path, Texts& texts) {
    const auto read = [&](const wchar_t* key, Buffer& text) {
        GetPrivateProfileStringW(L"InternetShortcut", key, L"", text.data(),
                                 static_cast<DWORD>(text.size()), path.c_str());
    };
    read(L"URL", texts.target);
    read(L"IconFile", texts.icon);
    texts.iconIndex =
        static_cast<int>(GetPrivateProfileIntW(L"InternetShortcut", L"IconIndex", 0, path.c_str()));
}

void readShellLink(const std::wstring& path, Texts& texts) {
    IShellLinkW* link = nullptr;
    IPersistFile* file = nullptr;
    const auto size = static_cast<int>(texts.target.size());
    if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_ALL, IID_IShellLinkW,
                                   reinterpret_cast<void**>(&link))) &&
        SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))) &&
        SUCCEEDED(file->Load(path.c_str(), STGM_READ))) {
        link->GetPath(texts.target.data(), size, nullptr, SLGP_RAWPATH);
        link->GetArguments(texts.arguments.data(), size);
        link->GetDescription(texts.description.data(), size);
        link->GetIconLocation(texts.icon.data(), size, &texts.iconIndex);
    }
    for (IUnknown* held : {static_cast<IUnknown*>(file), static_cast<IUnknown*>(link)}) {
        if (held != nullptr) {
            held->Release();
        }
    }
}

}  // namespace

Json shortcutOf(const std::wstring& path) {
    Texts texts;
    const bool isWeb = path.ends_with(L".url");
    isWeb ? readWebShortcut(path, texts) : readShellLink(path, texts);
    Json json = {{"target", utf8(texts.target.data())}};
    if (texts.arguments[0] != L'\0') {
        json["arguments"] = utf8(texts.arguments.data());
    }
    if (texts.description[0] != L'\0') {
        json["description"] = utf8(texts.description.data());
    }
    if (texts.icon[0] != L'\0') {
        json["icon"] = utf8(texts.icon.data()) + "," + std::to_string(texts.iconIndex);
    }
    if (isWeb) {
        json["internet"] = true;
    }
    return json;
}
