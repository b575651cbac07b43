#include <algorithm>
#include <iterator>

#include "RegistryValue.h"
#include "common/share/GrowingBuffer.h"
#include "common/share/tstrings.h"
#include "common/windows/WinAutoHandle.h"
#include "describe/Description.h"
#include "windows/common/Paths.h"
#include "windows/common/SysInfo.h"

namespace {

const tstring kSessionManager = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
const tstring kWindows = L"Software\\Microsoft\\Windows\\CurrentVersion";
const tstring kSoftware = L"Software\\";
const tstring kVendor = kSoftware + L"Halvorex";
constexpr const TCHAR* kPreferences = L"Prefs";
constexpr DWORD kMaxKeyNameUnits = 256;
constexpr DWORD kMaxValueNameUnits = 16384;
/// Windows' own limit of a key's depth.
constexpr std::ptrdiff_t kMaxDepth = 512;

/// A root as one of the views shows it; `node` follows "Software\" in the names of the other one.
struct View {
    HKEY root;
    tstring name;
    REGSAM flag;
    tstring node;
};

View nativeView() {
    return {HKEY_LOCAL_MACHINE, L"HKLM", SysInfo::is64BitOs() ? KEY_WOW64_64KEY : 0u, L""};
}

std::vector<View> machineViews() {
    std::vector<View> views = {nativeView()};
    if (SysInfo::is64BitOs()) {
        views.push_back({HKEY_LOCAL_MACHINE, L"HKLM", KEY_WOW64_32KEY, L"Wow6432Node\\"});
    }
    return views;
}

/// Calls RegEnumKeyExW or RegEnumValueW up to the end. Sets `status` to what ended the list.
template <class Enumerate>
std::vector<tstring> names(Enumerate* enumerate, HKEY key, DWORD maxUnits, LSTATUS& status) {
    std::vector<tstring> result;
    std::vector<TCHAR> name(maxUnits);
    for (DWORD i = 0;; ++i) {
        DWORD length = maxUnits;
        status = enumerate(key, i, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS) {
            break;
        }
        result.emplace_back(name.data(), length);
    }
    status = status == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : status;
    return result;
}

struct Value {
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
};

/// Reads a value by its name, which is no path whatever it holds.
LSTATUS readValue(HKEY key, const tstring& name, Value& value) {
    LSTATUS status = ERROR_SUCCESS;
    value.data = readGrowing<std::vector<BYTE>>(0, [&](BYTE* data, std::size_t capacity) {
        auto size = static_cast<DWORD>(capacity);
        status = RegQueryValueExW(key, name.c_str(), nullptr, &value.type,
                                  capacity == 0 ? nullptr : data, &size);
        const bool hasFailed = status != ERROR_SUCCESS && status != ERROR_MORE_DATA;
        return hasFailed ? std::size_t{0} : static_cast<std::size_t>(size);
    });
    return status;
}

class Reader {
public:
    Reader(Description& description, View view)
        : description_(description), view_(std::move(view)) {}

    /// A key with everything below it.
    void tree(const tstring& path) {
        if (std::count(path.begin(), path.end(), L'\\') >= kMaxDepth) {
            description_.addUnread(shown(path), ERROR_FILENAME_EXCED_RANGE);
            return;
        }
        const RegHandle key = open(path);
        if (!key) {
            return;
        }
        LSTATUS status = ERROR_SUCCESS;
        const auto subkeys = names(RegEnumKeyExW, key.get(), kMaxKeyNameUnits, status);
        description_.wasRead(shown(path), static_cast<DWORD>(status));
        const auto valueNames = names(RegEnumValueW, key.get(), kMaxValueNameUnits, status);
        description_.wasRead(shown(path), static_cast<DWORD>(status));
        if (!valueNames.empty() || subkeys.empty()) {
            take(key.get(), path, valueNames);
        }
        for (const tstring& subkey : subkeys) {
            if (isPreferences(path, subkey)) {
                keyJson(path + L"\\" + subkey);
            } else {
                tree(path + L"\\" + subkey);
            }
        }
    }

    /// A key with some of its values alone.
    void values(const tstring& path, const std::vector<tstring>& wanted) {
        if (const RegHandle key = open(path)) {
            take(key.get(), path, wanted);
        }
    }

private:
    RegHandle open(const tstring& path) {
        HKEY key = nullptr;
        const LSTATUS status =
            RegOpenKeyExW(view_.root, path.c_str(), 0, KEY_READ | view_.flag, &key);
        description_.wasRead(shown(path), static_cast<DWORD>(status));
        return RegHandle(status == ERROR_SUCCESS ? key : nullptr);
    }

    /// Of the preferences nothing but the key's name decides anything.
    static bool isPreferences(const tstring& path, const tstring& subkey) {
        return sameName(subkey, kPreferences) &&
               tstrings::equals(FileUtils::basename(path), L"Halvorex",
                                tstrings::CompareType::IgnoreCase);
    }

    tstring shown(const tstring& path) const {
        const bool isSoftware = sameName(path.substr(0, kSoftware.size()), kSoftware);
        return view_.name + L"\\" +
               (isSoftware ? kSoftware + view_.node + path.substr(kSoftware.size()) : path);
    }

    /// The entry of a key; null when its name can't be written.
    Json* keyJson(const tstring& path) {
        const auto name = description_.exactText(shown(path), shown(path));
        if (!name) {
            return nullptr;
        }
        Json& json = description_.json["registry"][*name];
        json = json.is_object() ? json : Json::object();
        return &json;
    }

    void take(HKEY key, const tstring& path, const std::vector<tstring>& valueNames) {
        Json* const json = keyJson(path);
        for (const tstring& name : json == nullptr ? std::vector<tstring>() : valueNames) {
            const tstring what = shown(path) + L" [" + name + L"]";
            Value value;
            const auto status = static_cast<DWORD>(readValue(key, name, value));
            const auto utf8Name = description_.exactText(name, what);
            if (utf8Name && description_.wasRead(what, status)) {
                (*json)[*utf8Name] =
                    registryValueJson(value.type, value.data, tstrings::toUtf8, tstrings::fromUtf8);
            }
        }
    }

    Description& description_;
    const View view_;
};

/// "\??\C:\x", "!\??\UNC\server\share" and the like as a path.
tstring withoutPrefix(const tstring& path) {
    constexpr std::wstring_view kUnc = L"\\??\\UNC\\";
    constexpr std::wstring_view kLocal = L"\\??\\";
    const tstring name = path.substr(path.starts_with(L'!') ? 1 : 0);
    if (sameName(name.substr(0, kUnc.size()), kUnc)) {
        return L"\\\\" + name.substr(kUnc.size());
    }
    return name.substr(name.starts_with(kLocal) ? kLocal.size() : 0);
}

/// The texts of a REG_MULTI_SZ value, empty ones included.
std::vector<tstring> textsOf(const std::vector<BYTE>& data) {
    std::vector<tstring> texts(1);
    for (std::size_t i = 0; i + 1 < data.size(); i += sizeof(TCHAR)) {
        const auto unit = static_cast<TCHAR>(data[i] | data[i + 1] << 8);
        if (unit == L'\0') {
            texts.emplace_back();
        } else {
            texts.back() += unit;
        }
    }
    return texts;
}

bool isAtOrBelow(const tstring& path, const tstring& place) {
    return sameName(path.substr(0, place.size()), place) &&
           (path.size() == place.size() || path[place.size()] == L'\\');
}

}  // namespace

void describeRegistry(Description& description, const std::vector<tstring>& products) {
    for (const View& view : machineViews()) {
        Reader reader(description, view);
        reader.tree(kVendor);
        reader.values(kWindows, {L"ProgramFilesDir"});
        for (const tstring& product : products) {
            reader.values(kWindows + L"\\Uninstall\\" + product, {L"DisplayIcon", L"Readme"});
        }
    }
    // Both views show the classes; the library has the accessibility entry in the 64-bit one alone.
    Reader reader(description, nativeView());
    for (const TCHAR* name : {L"vkrfile", L".vkr", L"zpmfile", L".zpm", L"Applications\\norv.exe",
                              L"Applications\\norvw.exe"}) {
        reader.tree(kSoftware + L"Classes\\" + name);
    }
    reader.tree(kSoftware +
                L"Microsoft\\Windows NT\\CurrentVersion\\Accessibility\\ATs\\"
                L"Dovrin_NorvAssistLink");
    reader.values(kSessionManager + L"\\Environment", {L"Path"});
    Reader users(description, {HKEY_CURRENT_USER, L"HKCU", nativeView().flag, L""});
    LSTATUS status = ERROR_SUCCESS;
    for (const tstring& name : names(RegEnumKeyExW, HKEY_CURRENT_USER, kMaxKeyNameUnits, status)) {
        users.tree(name + L"\\" + kVendor);
    }
    description.wasRead(L"HKCU", static_cast<DWORD>(status));
}

void describePendingMoves(Description& description) {
    const View view = nativeView();
    HKEY opened = nullptr;
    LSTATUS status =
        RegOpenKeyExW(view.root, kSessionManager.c_str(), 0, KEY_READ | view.flag, &opened);
    const RegHandle key(status == ERROR_SUCCESS ? opened : nullptr);
    Value value;
    status = key ? readValue(key.get(), L"PendingFileRenameOperations", value) : status;
    description.wasRead(L"HKLM\\" + kSessionManager + L" [PendingFileRenameOperations]",
                        static_cast<DWORD>(status));
    // Pairs of source and target; an empty target is a deletion.
    const std::vector<tstring> texts = textsOf(value.data);
    for (std::size_t i = 0; i + 1 < texts.size(); i += 2) {
        const tstring from = withoutPrefix(texts[i]);
        const tstring to = withoutPrefix(texts[i + 1]);
        const bool isOurs =
            std::any_of(description.places.begin(), description.places.end(),
                        [&](const tstring& place) { return isAtOrBelow(from, place); });
        if (!isOurs) {
            continue;
        }
        const auto fromText = description.exactText(from, from);
        const auto toText = description.exactText(to, from);
        if (fromText && toText) {
            Json move = {{"from", *fromText}};
            if (!to.empty()) {
                move["to"] = *toText;
            }
            description.json["atRestart"].push_back(move);
            describeFile(description, from);
        }
    }
}
