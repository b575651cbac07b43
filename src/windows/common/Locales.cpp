#include "windows/common/Locales.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <stdexcept>
#include <string>

#include "common/share/Logger.h"
#include "common/share/PmtError.h"
#include "common/share/tstrings.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/Dll.h"

namespace {

constexpr const char* kPreferredLanguages = "Locale::preferredLanguages";

constexpr LANGID kEnglishId = 1033;
constexpr LANGID kPrimaryLanguageMask = 0x3FF;

/// Matches the record of a language against an id.
class Matcher {
public:
    static bool matches(const LocaleInfo& info, LANGID id) {
        const auto end = std::find(std::begin(info.matchedIds), std::end(info.matchedIds), 0);
        return std::find(std::begin(info.matchedIds), end, id) != end;
    }
};

/// Finds the first language that matches an id.
template <class M>
class LocaleMatcher : public Locale::LocaleObserver {
public:
    explicit LocaleMatcher(LANGID id) : id_(id) {}

    bool visit(const Locale& locale) override {
        LocaleInfo info;
        locale.language()(info);
        if (!M::matches(info, id_)) {
            return true;
        }
        locale_ = locale;
        found_ = true;
        return false;
    }

    bool found() const { return found_; }
    const Locale& locale() const { return locale_; }

private:
    LANGID id_;
    bool found_ = false;
    Locale locale_ = Locale(Locale::english);
};

/// For a Windows without preferred languages; each language id is followed by its primary one.
std::vector<LANGID> defaultLanguages() {
    std::vector<LANGID> ids;
    for (const LANGID id : {static_cast<LANGID>(LOWORD(GetThreadLocale())),
                            GetUserDefaultUILanguage(), GetSystemDefaultUILanguage(), kEnglishId}) {
        ids.push_back(id);
        const LANGID primary = id & kPrimaryLanguageMask;
        if (primary != id) {
            ids.push_back(primary);
        }
    }
    return ids;
}

/// Parses hexadecimal digits as a stream does, after optional white space, a sign and "0x"; nothing
/// may follow them.
bool readLangId(const tstring& piece, LANGID& id) {
    std::string text;
    for (const TCHAR unit : piece) {
        text += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    text.erase(0, text.find_first_not_of(" \t\n\v\f\r"));
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.erase(0, 1);
    }
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.erase(0, 2);
    }
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, id, 16);
    id = negative ? static_cast<LANGID>(-id) : id;
    return read.ec == std::errc() && read.ptr == end;
}

/// Returns the ids of a list of NUL-terminated hexadecimal strings, which ends with another NUL.
std::vector<LANGID> readLangIds(tstring list) {
    list.resize(list.size() - std::min<std::size_t>(list.size(), 2));
    std::vector<tstring> pieces;
    tstrings::split(pieces, list, tstring(1, _T('\0')));
    std::vector<LANGID> ids;
    for (const tstring& piece : pieces) {
        LANGID id = 0;
        if (!readLangId(piece, id)) {
            raise<std::runtime_error>(kPreferredLanguages,
                                      Text() << _T("Cannot get langID: ") << piece);
        }
        ids.push_back(id);
    }
    return ids;
}

}  // namespace

void Locale::english(LocaleInfo& info) {
    info = {kEnglishId, _T("en"), nullptr, {0x0009}};
}

void Locale::chinese(LocaleInfo& info) {
    info = {2052, _T("zh_CN"), _T("zh"), {0x0804, 0x1004, 0x0004}};
}

void Locale::japanese(LocaleInfo& info) {
    info = {1041, _T("ja"), nullptr, {0x0011}};
}

void Locale::german(LocaleInfo& info) {
    info = {1031, _T("de"), nullptr, {0x0007}};
}

Locale::Locale() : language_(english) {
    for (const LANGID id : preferredLanguages()) {
        if (isSupported(id, *this)) {
            return;
        }
    }
}

void Locale::forEach(LocaleObserver& observer) {
    for (const Language language : {english, chinese, japanese}) {
        if (!observer.visit(Locale(language))) {
            return;
        }
    }
}

std::vector<LANGID> Locale::preferredLanguages() {
    using Function = BOOL(WINAPI*)(DWORD, PULONG, PZZWSTR, PULONG);
    const DllFunction<Function> function(Dll(_T("kernel32")), "GetThreadPreferredUILanguages");
    if (!function.isAvailable()) {
        LOG_INFO(kPreferredLanguages, Text() << _T("PreferredUILanguages: XP fallback"));
        return defaultLanguages();
    }
    LOG_INFO(kPreferredLanguages, Text() << _T("PreferredUILanguages: Vista+"));
    const Function getLanguages = function;
    const DWORD flags = MUI_LANGUAGE_ID | MUI_MERGE_SYSTEM_FALLBACK | MUI_MERGE_USER_FALLBACK;
    const auto fail = [&](const TCHAR* what, const SourceLocation& where = kPreferredLanguages) {
        raise(where, FailedCall(getLanguages)
                         << _T("GetThreadPreferredUILanguages (") << what << _T(") failed"));
    };
    ULONG count = 0;
    ULONG size = 0;
    if (!getLanguages(flags, &count, nullptr, &size)) {
        fail(_T("detect size"));
    }
    tstring list(size, _T('\0'));
    if (!getLanguages(flags, &count, list.data(), &size)) {
        fail(_T("get values"));
    }
    list.resize(std::min<std::size_t>(size, list.size()));
    return readLangIds(list);
}

bool Locale::isSupported(LANGID id, Locale& locale) {
    LocaleMatcher<Matcher> matcher(id);
    forEach(matcher);
    if (matcher.found()) {
        locale = matcher.locale();
    }
    return matcher.found();
}

const TCHAR* LocalizedText::in(const Locale& locale) const {
    if (locale.language() == Locale::german) {
        return german;
    }
    if (locale.language() == Locale::japanese) {
        return japanese;
    }
    if (locale.language() == Locale::chinese) {
        return chinese;
    }
    return english;
}

tstring getText(TextGetter getter, const Locale& locale) {
    return getter(locale);
}
