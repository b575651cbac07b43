#include <windows.h>
#include <objbase.h>
#include <shlobj.h>

#include <array>

#include "common/share/tstrings.h"
#include "describe/Description.h"
#include "windows/common/ComUtils.h"
#include "windows/common/Paths.h"

namespace {

using Buffer = std::array<TCHAR, 4096>;

struct Texts {
    Buffer target = {};
    Buffer arguments = {};
    Buffer description = {};
    Buffer icon = {};
    int iconIndex = 0;
};

Texts readWebShortcut(const tstring& path) {
    Texts texts;
    const auto read = [&](const TCHAR* key, Buffer& text) {
        GetPrivateProfileStringW(L"InternetShortcut", key, L"", text.data(),
                                 static_cast<DWORD>(text.size()), path.c_str());
    };
    read(L"URL", texts.target);
    read(L"IconFile", texts.icon);
    texts.iconIndex =
        static_cast<int>(GetPrivateProfileIntW(L"InternetShortcut", L"IconIndex", 0, path.c_str()));
    return texts;
}

template <class Interface>
ComPtr<Interface> createLink(const IID& id) {
    Interface* link = nullptr;
    CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_ALL, id, reinterpret_cast<void**>(&link));
    return ComPtr<Interface>(link);
}

template <class Interface>
ComPtr<Interface> query(IUnknown* object, const IID& id) {
    Interface* found = nullptr;
    object->QueryInterface(id, reinterpret_cast<void**>(&found));
    return ComPtr<Interface>(found);
}

/// Nothing for a file that is no shell link.
std::optional<Texts> readShellLink(const tstring& path) {
    const auto link = createLink<IShellLinkW>(IID_IShellLinkW);
    if (!link) {
        return std::nullopt;
    }
    const auto file = query<IPersistFile>(link.get(), IID_IPersistFile);
    if (!file || FAILED(file.get()->Load(path.c_str(), STGM_READ))) {
        return std::nullopt;
    }
    Texts texts;
    const auto size = static_cast<int>(texts.target.size());
    link.get()->GetPath(texts.target.data(), size, nullptr, SLGP_RAWPATH);
    link.get()->GetArguments(texts.arguments.data(), size);
    link.get()->GetDescription(texts.description.data(), size);
    link.get()->GetIconLocation(texts.icon.data(), size, &texts.iconIndex);
    return texts;
}

}  // namespace

std::optional<Json> shortcutOf(Description& description, const tstring& path) {
    const bool isWeb =
        tstrings::equals(FileUtils::suffix(path), L".url", tstrings::CompareType::IgnoreCase);
    const std::optional<Texts> texts = isWeb ? readWebShortcut(path) : readShellLink(path);
    if (!texts) {
        return std::nullopt;
    }
    Json json = {{"target", ""}};
    const auto put = [&](const char* name, const Buffer& text, const tstring& more = tstring()) {
        if (text[0] != L'\0') {
            description.setText(json, name, text.data() + more, path);
        }
    };
    put("target", texts->target);
    put("arguments", texts->arguments);
    put("description", texts->description);
    put("icon", texts->icon, L"," + tstrings::toString(texts->iconIndex));
    if (isWeb) {
        json["internet"] = true;
    }
    return json;
}
