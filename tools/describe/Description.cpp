#include "describe/Description.h"

#include <algorithm>

#include "RegistryValue.h"
#include "common/share/tstrings.h"
#include "windows/common/Paths.h"

namespace {

/// For messages: what UTF-8 can't hold is replaced by Windows, a NUL here.
std::string shownText(tstring text) {
    std::replace(text.begin(), text.end(), L'\0', L'\xFFFD');
    return tstrings::toUtf8(text);
}

/// Whether bytes are UTF-8 without a NUL.
bool isText(const std::string& bytes) {
    return bytes.find('\0') == std::string::npos &&
           tstrings::toUtf8(tstrings::fromUtf8(bytes)) == bytes;
}

}  // namespace

bool NameLess::operator()(const tstring& a, const tstring& b) const {
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), TRUE) == CSTR_LESS_THAN;
}

bool sameName(std::wstring_view a, std::wstring_view b) {
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

bool Description::wasRead(const tstring& what, DWORD status) {
    if (status == ERROR_SUCCESS) {
        return true;
    }
    if (status != ERROR_FILE_NOT_FOUND && status != ERROR_PATH_NOT_FOUND) {
        addUnread(what, status);
    }
    return false;
}

void Description::addUnread(const tstring& what, DWORD status) {
    const Json entry = {{"what", shownText(what)}, {"status", status}};
    Json& unread = json["unread"];
    if (std::find(unread.begin(), unread.end(), entry) == unread.end()) {
        unread.push_back(entry);
    }
}

void Description::setText(Json& object, const std::string& name, const tstring& text,
                          const tstring& what) {
    if (const std::optional<std::string> exact = exactText(text, what)) {
        object[name] = *exact;
    }
}

std::optional<std::string> Description::exactText(const tstring& text, const tstring& what) {
    std::string utf8 = tstrings::toUtf8(text);
    if (text.find(L'\0') != tstring::npos || tstrings::fromUtf8(utf8) != text) {
        addUnread(what, ERROR_NO_UNICODE_TRANSLATION);
        return std::nullopt;
    }
    return utf8;
}

tstring Description::folder(const char* name, const tstring& below) const {
    const auto folders = json.find("folders");
    if (folders == json.end() || !folders->contains(name)) {
        return tstring();
    }
    return FileUtils::combinePath(textOf((*folders)[name]), below);
}

tstring Description::registryText(const std::string& key, const char* name) const {
    const auto registry = json.find("registry");
    if (registry == json.end() || !registry->contains(key)) {
        return tstring();
    }
    const Json& values = (*registry)[key];
    return values.contains(name) ? textOf(values[name]) : tstring();
}

tstring textOf(const Json& value) {
    const Json& text = value.is_object() && value.contains("expand") ? value["expand"] : value;
    return text.is_string() ? tstrings::fromUtf8(text.get<std::string>()) : tstring();
}

Json bytesJson(const std::string& bytes) {
    return isText(bytes) ? Json(bytes) : hexJson(bytes);
}

Json hexJson(const std::string& bytes) {
    return {{"hex", hexDigits(bytes)}};
}
