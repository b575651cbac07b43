// What a description must not carry: the user's name, and what other programs have in Path.
#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <array>

#include "common/share/tstrings.h"
#include "describe/Description.h"
#include "windows/common/FileUtils.h"
#include "windows/common/SysInfo.h"

namespace {

constexpr const TCHAR* kUserName = L"%USERNAME%";
constexpr const char* kEnvironmentKey =
    "HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
/// Names that the library itself uses: a user of such a name stays where it isn't his own.
constexpr std::wstring_view kFixedNames =
    L"\\Norv\\Dovrin\\Halvorex\\bin\\lib\\qvr\\latest\\norvpath\\norvtmp\\Software\\Microsoft"
    L"\\Windows\\system32\\syswow64\\Classes\\Applications\\CurrentVersion\\Uninstall\\Prefs"
    L"\\Wow6432Node\\Control\\Environment\\QVK\\QVR\\MSI\\shell\\open\\command\\Users\\Public\\";

tstring profileDirectory() {
    std::array<TCHAR, MAX_PATH> path = {};
    const HRESULT result = SHGetFolderPathW(nullptr, CSIDL_PROFILE | CSIDL_FLAG_DONT_VERIFY,
                                            nullptr, SHGFP_TYPE_CURRENT, path.data());
    return SUCCEEDED(result) ? FileUtils::removeTrailingSlash(path.data()) : tstring();
}

tstring shortName(const tstring& path) {
    std::array<TCHAR, MAX_PATH> name = {};
    const DWORD length = GetShortPathNameW(path.c_str(), name.data(), MAX_PATH);
    return length == 0 || length >= MAX_PATH ? tstring() : FileUtils::basename(name.data());
}

tstring accountName() {
    std::array<TCHAR, 257> name = {};
    auto size = static_cast<DWORD>(name.size());
    return GetUserNameW(name.data(), &size) ? tstring(name.data()) : tstring();
}

bool endsName(const tstring& text, std::size_t at) {
    constexpr std::wstring_view kEnds = L"\\/\";,*\r\n";
    return at == text.size() || kEnds.find(text[at]) != kEnds.npos;
}

/// Replaces a name wherever it is a whole component of a path, and in `inFrontOfIt`.
void replaceName(tstring& text, const tstring& inFrontOfIt, const tstring& name) {
    const tstring wanted = inFrontOfIt + name;
    for (std::size_t at = 0; at + wanted.size() <= text.size(); ++at) {
        if (sameName(std::wstring_view(text).substr(at, wanted.size()), wanted) &&
            endsName(text, at + wanted.size())) {
            text.replace(at + inFrontOfIt.size(), name.size(), kUserName);
        }
    }
}

/// The user's names: of the account and of the profile's directory.
class UserNames {
public:
    UserNames() : profile_(profileDirectory()) {
        for (const tstring& name :
             {FileUtils::basename(profile_), shortName(profile_), accountName()}) {
            const tstring component = L"\\" + tstrings::toLower(name) + L"\\";
            const bool isFixed =
                tstrings::toLower(tstring(kFixedNames)).find(component) != tstring::npos;
            if (!name.empty() && !isFixed) {
                names_.push_back(name);
            }
        }
    }

    std::string hidden(const std::string& utf8) const {
        if (utf8.find('\\') == std::string::npos && utf8.find('/') == std::string::npos) {
            return utf8;
        }
        tstring text = tstrings::fromUtf8(utf8);
        if (!profile_.empty()) {
            replaceName(text, FileUtils::dirname(profile_) + L"\\", FileUtils::basename(profile_));
        }
        for (const tstring& name : names_) {
            replaceName(text, L"\\", name);
            replaceName(text, L"/", name);
        }
        return tstrings::toUtf8(text);
    }

private:
    tstring profile_;
    std::vector<tstring> names_;
};

/// Replaces the user's name in all keys and texts but digits, and leaves out what is null.
Json withoutUser(const Json& json, const UserNames& user) {
    if (json.is_string()) {
        return user.hidden(json.get<std::string>());
    }
    if (json.is_array()) {
        Json result = Json::array();
        for (const Json& item : json) {
            result.push_back(withoutUser(item, user));
        }
        return result;
    }
    if (!json.is_object()) {
        return json;
    }
    Json result = Json::object();
    for (const auto& [name, member] : json.items()) {
        if (!member.is_null()) {
            result[user.hidden(name)] = withoutUser(member, user);
        }
    }
    return result;
}

/// Whether an entry of Path is Windows' or the platform's, or none.
bool isOpenEntry(const tstring& entry, const Description& description) {
    const tstring lower = tstrings::toLower(entry);
    const tstring windows = tstrings::toLower(description.folder("windows", tstring()));
    const bool isWindows = lower.starts_with(L"%systemroot%") || lower.starts_with(L"%windir%") ||
                           (!windows.empty() && lower.starts_with(windows));
    return entry.empty() || isWindows || lower.find(L"norv") != tstring::npos;
}

/// Replaces the entries of others, of which nothing but their places matters, by numbered names.
tstring withoutOthers(const tstring& path, const Description& description) {
    std::vector<tstring> entries;
    tstrings::split(entries, path, L";");
    tstring result;
    int number = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const bool isOpen = isOpenEntry(entries[i], description);
        number += isOpen ? 0 : 1;
        result += (i == 0 ? L"" : L";") +
                  (isOpen ? entries[i] : L"%OTHER" + tstrings::toString(number) + L"%");
    }
    return result;
}

void hideOtherPrograms(Description& description) {
    const auto registry = description.json.find("registry");
    if (registry == description.json.end() || !registry->contains(kEnvironmentKey)) {
        return;
    }
    Json& values = (*registry)[kEnvironmentKey];
    const auto path = values.find("Path");
    if (path == values.end()) {
        return;
    }
    if (path->is_object() && path->contains("hex")) {
        // No text, so the library doesn't read it: its type alone matters.
        (*path)["hex"] = "";
        return;
    }
    if (!path->is_string() && !path->contains("expand")) {
        return;
    }
    const std::string text = tstrings::toUtf8(withoutOthers(textOf(*path), description));
    const bool isExpandable = path->is_object();
    *path = isExpandable ? Json{{"expand", text}} : Json(text);
}

}  // namespace

void hideNames(Description& description) {
    hideOtherPrograms(description);
    description.json = withoutUser(description.json, UserNames());
}
