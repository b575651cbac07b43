#include "describe/Description.h"

#include <cstring>

#include "RegistryValue.h"

namespace {

const std::wstring kSessionManager = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
const std::wstring kWindows = L"Software\\Microsoft\\Windows\\CurrentVersion";
const std::wstring kSoftware = L"Software\\";
constexpr DWORD kMostNameUnits = 16384;

/// A root as one of the views shows it; `node` stands behind "Software\" in the other one.
struct View {
    HKEY root;
    std::wstring name;
    REGSAM flag;
    std::wstring node;
};

std::vector<View> machineViews() {
    std::vector<View> views = {
        {HKEY_LOCAL_MACHINE, L"HKLM", is64BitWindows() ? KEY_WOW64_64KEY : 0u, L""}};
    if (is64BitWindows()) {
        views.push_back({HKEY_LOCAL_MACHINE, L"HKLM", KEY_WOW64_32KEY, L"Wow6432Node\\"});
    }
    return views;
}

std::vector<std::wstring> names(HKEY key, decltype(RegEnumValueW)* enumerate) {
    std::vector<std::wstring> result;
    std::vector<wchar_t> name(kMostNameUnits);
    DWORD length = kMostNameUnits;
    for (DWORD i = 0; enumerate(key, i, name.data(), &length, nullptr, nullptr, nullptr, nullptr) ==
                      ERROR_SUCCESS;
         ++i, length = kMostNameUnits) {
        result.emplace_back(name.data(), length);
    }
    return result;
}

std::vector<std::wstring> subkeyNames(HKEY key) {
    return names(
        key, reinterpret_cast<decltype(RegEnumValueW)*>(reinterpret_cast<void*>(RegEnumKeyExW)));
}

LSTATUS readValue(HKEY key, const std::wstring& name, DWORD& type, std::vector<BYTE>& data) {
    DWORD size = 0;
    const LSTATUS status = RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size);
    data.resize(size);
    return status != ERROR_SUCCESS || size == 0
               ? status
               : RegQueryValueExW(key, name.c_str(), nullptr, &type, data.data(), &size);
}

class Reader {
public:
    Reader(Description& description, View view)
        : description_(description), view_(std::move(view)) {}

    /// A key with everything below it.
    void tree(const std::wstring& path) {
        const HKEY key = open(path);
        const std::vector<std::wstring> values = names(key, RegEnumValueW);
        const std::vector<std::wstring> subkeys = subkeyNames(key);
        if (key != nullptr && (!values.empty() || subkeys.empty())) {
            take(key, path, values);
        }
        RegCloseKey(key);
        for (const std::wstring& subkey : subkeys) {
            tree(path + L"\\" + subkey);
        }
    }

    /// A key with some of its values alone.
    void values(const std::wstring& path, const std::vector<std::wstring>& wanted) {
        if (const HKEY key = open(path)) {
            take(key, path, wanted);
            RegCloseKey(key);
        }
    }

private:
    HKEY open(const std::wstring& path) {
        HKEY key = nullptr;
        const LSTATUS status =
            RegOpenKeyExW(view_.root, path.c_str(), 0, KEY_READ | view_.flag, &key);
        description_.wasRead(shown(path), static_cast<DWORD>(status));
        return key;
    }

    std::wstring shown(const std::wstring& path) const {
        const bool isSoftware = sameText(path.substr(0, kSoftware.size()), kSoftware);
        return view_.name + L"\\" +
               (isSoftware ? kSoftware + view_.node + path.substr(kSoftware.size()) : path);
    }

    void take(HKEY key, const std::wstring& path, const std::vector<std::wstring>& valueNames) {
        Json& json = description_.json["registry"][utf8(shown(path))] = Json::object();
        for (const std::wstring& name : valueNames) {
            DWORD type = 0;
            std::vector<BYTE> data;
            const LSTATUS status = readValue(key, name, type, data);
            if (description_.wasRead(shown(path) + L" " + name, static_cast<DWORD>(status))) {
                json[utf8(name)] = registryValueJson(type, data, utf8, wide);
            }
        }
    }

    Description& description_;
    const View view_;
};

/// "\??\C:\x" and the like as a path.
std::wstring withoutPrefix(const std::wstring& path) {
    const std::size_t prefix = path.find(L"\\??\\");
    return prefix == std::wstring::npos ? path : path.substr(prefix + 4);
}

}  // namespace

void describeRegistry(Description& description, const std::vector<std::wstring>& products) {
    for (const View& view : machineViews()) {
        Reader reader(description, view);
        reader.tree(kSoftware + L"Halvorex");
        reader.values(kWindows, {L"ProgramFilesDir"});
        for (const std::wstring& product : products) {
            reader.values(kWindows + L"\\Uninstall\\" + product, {L"DisplayIcon", L"Readme"});
        }
    }
    // Both views show the classes; the library has the accessibility entry in the 64-bit one alone.
    Reader reader(description, machineViews()[0]);
    for (const wchar_t* name : {L"vkrfile", L".vkr", L"zpmfile", L".zpm", L"Applications\\norv.exe",
                                L"Applications\\norvw.exe"}) {
        reader.tree(kSoftware + L"Classes\\" + name);
    }
    reader.tree(kSoftware +
                L"Microsoft\\Windows NT\\CurrentVersion\\Accessibility\\ATs\\"
                L"Dovrin_NorvAssistLink");
    reader.values(kSessionManager + L"\\Environment", {L"Path"});
    Reader users(description, {HKEY_CURRENT_USER, L"HKCU", machineViews()[0].flag, L""});
    for (const std::wstring& name : subkeyNames(HKEY_CURRENT_USER)) {
        users.tree(name + L"\\Software\\Halvorex");
    }
}

void describePendingMoves(Description& description) {
    HKEY key = nullptr;
    DWORD type = 0;
    std::vector<BYTE> data;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSessionManager.c_str(), 0, KEY_READ | machineViews()[0].flag,
                  &key);
    readValue(key, L"PendingFileRenameOperations", type, data);
    RegCloseKey(key);
    // Pairs of source and target; an empty target is a deletion.
    std::vector<std::wstring> texts(1);
    for (std::size_t i = 0; i + 1 < data.size(); i += sizeof(wchar_t)) {
        const auto unit = static_cast<wchar_t>(data[i] | data[i + 1] << 8);
        unit == L'\0' ? texts.emplace_back() : texts.back() += unit;
    }
    for (std::size_t i = 0; i + 1 < texts.size(); i += 2) {
        const std::wstring from = withoutPrefix(texts[i]);
        for (const std::wstring& place : description.places) {
            if (sameText(from.substr(0, place.size()), place)) {
                Json move = {{"from", utf8(from)}};
                if (!texts[i + 1].empty()) {
                    move["to"] = utf8(withoutPrefix(texts[i + 1]));
                }
                description.json["atRestart"].push_back(move);
                break;
            }
        }
    }
}
